#include <nodelibrary/NodeLibraryReader.h>

#include <nodelibrary/LibraryFiles.h>

#include "NodeDefParser.h"

#include <QHash>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

// A library of all known nodes has one megabyte; the limit keeps a mistaken path from filling the
// memory.
static constexpr std::uintmax_t sLargestFile = 256U * 1024U * 1024U;

namespace {

// Gathers files in canonical order and keeps the first nodedef of each name.
class Gathering
{
public:
    void add(const QByteArray &bytes, const QString &filePath, const QString &relativePath)
    {
        NodeDefParser parser(bytes, filePath, relativePath);
        parser.parse();
        m_library.problems.insert(m_library.problems.end(), parser.problems().begin(),
                                  parser.problems().end());
        for (NodeDef &nodeDef : parser.nodeDefs())
            add(std::move(nodeDef));
    }

    void refuse(const QString &filePath, const QString &text)
    {
        m_library.problems.push_back(
                {.severity = Problem::Severity::FileRefused, .file = filePath, .text = text});
    }

    NodeLibrary &library() { return m_library; }

private:
    void add(NodeDef &&nodeDef)
    {
        const auto first = m_places.constFind(nodeDef.name);
        if (first == m_places.constEnd()) {
            m_places.insert(nodeDef.name, m_library.nodeDefs.size());
            m_library.nodeDefs.push_back(std::move(nodeDef));
            return;
        }
        const NodeDef &taken = m_library.nodeDefs[*first];
        m_library.problems.push_back(
                {.severity = Problem::Severity::NodeDefRefused,
                 .file = nodeDef.filePath,
                 .line = nodeDef.line,
                 .column = nodeDef.column,
                 .text = u"the nodedef \"%1\" is left out; %2:%3 defines it first"_s.arg(
                         nodeDef.name, taken.filePath, QString::number(taken.line))});
    }

    NodeLibrary m_library;
    QHash<QString, std::size_t> m_places;
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
    std::ifstream file(path, std::ios::binary);
    bytes.resize(static_cast<qsizetype>(size));
    if (!file || !file.read(bytes.data(), bytes.size()))
        return reasonOf({errno != 0 ? errno : EIO, std::generic_category()});
    return {};
}

NodeLibrary NodeLibraryReader::readPath(const QString &path, const Progress &progress)
{
    LibraryFiles found = LibraryFiles::below(path);
    Gathering gathering;
    NodeLibrary &library = gathering.library();
    library.problems = std::move(found.problems);
    const int total = static_cast<int>(found.files.size());
    for (const LibraryFiles::File &file : found.files) {
        if (progress && !progress(library.fileCount, total)) {
            library.isCancelled = true;
            return std::move(library);
        }
        ++library.fileCount;
        QByteArray bytes;
        const QString reason = readFile(file.path, bytes);
        if (reason.isEmpty())
            gathering.add(bytes, file.filePath, file.relativePath);
        else
            gathering.refuse(file.filePath, reason);
    }
    if (progress && !progress(total, total))
        library.isCancelled = true;
    return std::move(library);
}

NodeLibrary NodeLibraryReader::readBytes(const QByteArray &bytes, const QString &fileName)
{
    Gathering gathering;
    gathering.library().fileCount = 1;
    gathering.add(bytes, fileName, fileName);
    return std::move(gathering.library());
}

} // namespace Tesk::NodeLibrary
