#include <nodelibrary/LibraryFiles.h>

#include <algorithm>
#include <string>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace Tesk::NodeLibrary {

static QString toText(const fs::path &path)
{
    const std::u8string bytes = path.generic_u8string();
    return QString::fromUtf8(reinterpret_cast<const char *>(bytes.data()),
                             static_cast<qsizetype>(bytes.size()));
}

static Problem unreadable(const fs::path &path, const std::error_code &error)
{
    return {.severity = Problem::Severity::FileRefused,
            .file = toText(path),
            .text = QStringLiteral("cannot be read: %1")
                            .arg(QString::fromStdString(error.message()))};
}

namespace {
struct FoundFile
{
    fs::path path;
    std::u8string relativePath;
};
} // namespace

static bool isLibraryFile(const fs::directory_entry &entry)
{
    std::error_code error;
    return entry.path().native().ends_with(fs::path(".mtlx").native())
           && !entry.is_directory(error);
}

// Goes through the folders one by one, so that one that cannot be read costs only itself.
static void walk(const fs::path &root, std::vector<FoundFile> &found, Problems &problems)
{
    std::vector<fs::path> folders{root};
    while (!folders.empty()) {
        const fs::path folder = std::move(folders.back());
        folders.pop_back();
        std::error_code error;
        fs::directory_iterator entry(folder, error);
        for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
            std::error_code ignored;
            if (entry->is_directory(ignored) && !entry->is_symlink(ignored))
                folders.push_back(entry->path());
            else if (isLibraryFile(*entry))
                found.push_back(
                        {entry->path(), entry->path().lexically_relative(root).generic_u8string()});
        }
        if (error)
            problems.push_back(unreadable(folder, error));
    }
}

LibraryFiles LibraryFiles::below(const QString &root)
{
    // By way of UTF-8, which takes any text; std::filesystem throws on half a surrogate pair.
    const QByteArray utf8 = root.toUtf8();
    const fs::path path(std::u8string(utf8.begin(), utf8.end()));
    LibraryFiles result;
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status)) {
        if (!error)
            error = std::make_error_code(std::errc::no_such_file_or_directory);
        result.problems.push_back(unreadable(path, error));
        return result;
    }
    if (!fs::is_directory(status)) {
        result.files.push_back({path, toText(path), toText(path.filename())});
        return result;
    }

    std::vector<FoundFile> found;
    walk(path, found, result.problems);
    std::sort(found.begin(), found.end(), [](const FoundFile &left, const FoundFile &right) {
        return left.relativePath < right.relativePath;
    });
    for (FoundFile &file : found) {
        const QString filePath = toText(file.path);
        result.files.push_back({std::move(file.path), filePath, toText(file.relativePath)});
    }
    std::sort(result.problems.begin(), result.problems.end(),
              [](const Problem &left, const Problem &right) { return left.file < right.file; });
    return result;
}

} // namespace Tesk::NodeLibrary
