#include <nodelibrary/NodeLibraryReader.h>

#include <nodelibrary/LibraryFiles.h>

#include "NodeDefParser.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <map>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

// A library of all known nodes has one megabyte; the limit keeps a mistaken path from filling the
// memory.
static constexpr std::uintmax_t sLargestFile = std::uintmax_t{256} * 1024 * 1024;

namespace {

struct FileContent
{
    std::vector<NodeDef> nodeDefs;
    Problems problems;
};

// Gathers files in canonical order and keeps the first nodedef of each name.
class Gathering
{
public:
    void add(FileContent &&content)
    {
        std::move(content.problems.begin(), content.problems.end(),
                  std::back_inserter(m_library.problems));
        for (NodeDef &nodeDef : content.nodeDefs)
            add(std::move(nodeDef));
    }

    NodeLibrary &library() { return m_library; }

private:
    void add(NodeDef &&nodeDef)
    {
        const auto [first, isNew] = m_places.try_emplace(nodeDef.name, m_library.nodeDefs.size());
        if (isNew) {
            m_library.nodeDefs.push_back(std::move(nodeDef));
            return;
        }
        const NodeDef &taken = m_library.nodeDefs[first->second];
        m_library.problems.push_back(
                {.severity = Problem::Severity::NodeDefRefused,
                 .file = nodeDef.filePath,
                 .line = nodeDef.line,
                 .column = nodeDef.column,
                 .text = u"the nodedef \"%1\" is left out; %2:%3 defines it first"_s.arg(
                         nodeDef.name, taken.filePath, QString::number(taken.line))});
    }

    NodeLibrary m_library;
    std::map<QString, std::size_t> m_places;
};

} // namespace

static QString reasonOf(const std::error_code &error)
{
    return u"cannot be read: "_s + QString::fromStdString(error.message());
}

// Reads a file whole; the reason when that fails.
static QString readFile(const std::filesystem::path &path, QByteArray &bytes)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error)
        return reasonOf(error);
    if (size > sLargestFile)
        return u"has %1 bytes, more than the %2 that are read"_s.arg(QString::number(size),
                                                                     QString::number(sLargestFile));
    std::ifstream file;
    file.rdbuf()->pubsetbuf(nullptr, 0); // it is read in one go
    file.open(path, std::ios::binary);
    bytes.resize(static_cast<qsizetype>(size));
    errno = file ? 0 : errno; // reading to an end that came too early sets none
    if (!file || !file.read(bytes.data(), bytes.size()))
        return reasonOf({errno != 0 ? errno : EIO, std::generic_category()});
    return {};
}

static FileContent parse(const QByteArray &bytes, const QString &filePath,
                         const QString &relativePath)
{
    NodeDefParser parser(bytes, filePath, relativePath);
    parser.parse();
    return {std::move(parser.nodeDefs()), std::move(parser.problems())};
}

// Uses \a bytes again, which have room for a file of the size of the last.
static FileContent readContent(const LibraryFiles::File &file, QByteArray &bytes)
{
    const QString reason = readFile(file.path, bytes);
    if (reason.isEmpty())
        return parse(bytes, file.filePath, file.relativePath);
    FileContent content;
    content.problems.push_back(
            {.severity = Problem::Severity::FileRefused, .file = file.filePath, .text = reason});
    return content;
}

namespace {

// Reads files on a few threads; they are handed out in their order all the same. The largest come
// first, so that none of them is left over for one thread alone at the end.
class ParallelReading
{
public:
    explicit ParallelReading(const std::vector<LibraryFiles::File> &files)
        : m_files(files)
        , m_order(largestFirst(files))
        , m_promises(files.size())
    {
        for (auto &promise : m_promises)
            m_results.push_back(promise.get_future());
        const std::size_t cores = std::max(1U, std::thread::hardware_concurrency());
        const std::size_t count = std::min({cores, files.size(), sMostThreads});
        for (std::size_t i = 0; i < count; ++i)
            m_threads.emplace_back([this] { work(); });
    }

    ~ParallelReading()
    {
        m_next = m_files.size();
        for (std::thread &thread : m_threads)
            thread.join();
    }

    Q_DISABLE_COPY_MOVE(ParallelReading)

    FileContent take(std::size_t index) { return m_results[index].get(); }

private:
    static constexpr std::size_t sMostThreads = 8;

    static std::vector<std::size_t> largestFirst(const std::vector<LibraryFiles::File> &files)
    {
        std::vector<std::pair<std::uintmax_t, std::size_t>> sizes;
        sizes.reserve(files.size());
        for (std::size_t i = 0; i < files.size(); ++i) {
            std::error_code error;
            const std::uintmax_t size = std::filesystem::file_size(files[i].path, error);
            sizes.emplace_back(error ? 0 : size, i);
        }
        std::sort(sizes.begin(), sizes.end(), std::greater());
        std::vector<std::size_t> order;
        order.reserve(files.size());
        for (const auto &[size, index] : sizes)
            order.push_back(index);
        return order;
    }

    void work()
    {
        QByteArray bytes;
        for (std::size_t next = m_next++; next < m_order.size(); next = m_next++) {
            const std::size_t i = m_order[next];
            try {
                m_promises[i].set_value(readContent(m_files[i], bytes));
            } catch (...) {
                m_promises[i].set_exception(std::current_exception());
            }
        }
    }

    const std::vector<LibraryFiles::File> &m_files;
    const std::vector<std::size_t> m_order;
    std::vector<std::promise<FileContent>> m_promises;
    std::vector<std::future<FileContent>> m_results;
    std::atomic<std::size_t> m_next = 0;
    std::vector<std::thread> m_threads; // last: they use the members above
};

} // namespace

NodeLibrary NodeLibraryReader::readPath(const QString &path, const Progress &progress)
{
    LibraryFiles found = LibraryFiles::below(path);
    Gathering gathering;
    NodeLibrary &library = gathering.library();
    library.problems = std::move(found.problems);
    const int total = static_cast<int>(found.files.size());
    ParallelReading reading(found.files);
    for (; library.fileCount < total; ++library.fileCount) {
        if (progress && !progress(library.fileCount, total)) {
            library.isCancelled = true;
            return std::move(library);
        }
        gathering.add(reading.take(static_cast<std::size_t>(library.fileCount)));
    }
    if (progress && !progress(total, total))
        library.isCancelled = true;
    return std::move(library);
}

NodeLibrary NodeLibraryReader::readBytes(const QByteArray &bytes, const QString &fileName)
{
    Gathering gathering;
    gathering.library().fileCount = 1;
    gathering.add(parse(bytes, fileName, fileName));
    return std::move(gathering.library());
}

} // namespace Tesk::NodeLibrary
