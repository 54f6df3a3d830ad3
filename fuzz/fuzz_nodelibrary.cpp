#include <nodelibrary/LibraryDiff.h>
#include <nodelibrary/NodeLibraryReader.h>

#include <QSet>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

// Whatever a file holds, it gives nodedefs or problems; its filters ask for no key twice, and
// reading it again changes nothing.

using namespace Tesk::NodeLibrary;

namespace {

void require(bool condition, const char *what)
{
    if (condition)
        return;
    std::fprintf(stderr, "violated: %s\n", what);
    std::abort();
}

ReadLibrary libraryOf(const NodeLibrary &read)
{
    ReadLibrary library{QStringLiteral("fuzz"), {}};
    for (const NodeDef &nodeDef : read.nodeDefs)
        library.nodeDefs.push_back({nodeDef, nodeDef.node});
    return library;
}

void requireDistinctKeys(const ImportPlan &plan)
{
    for (const FilterChange &filter : plan.filters) {
        QSet<QString> keys;
        for (const std::size_t index : filter.batch) {
            const QStringList parts = plan.created[index].text.split(u',');
            for (const QString &part : parts) {
                require(!part.isEmpty(), "an empty key");
                const qsizetype before = keys.size();
                keys.insert(part);
                require(keys.size() > before, "a key twice");
            }
        }
        require(filter.isDynamic == (filter.batch.size() > 1), "a filter of the wrong kind");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const NodeLibrary read = NodeLibraryReader::readBytes(bytes, QStringLiteral("fuzz.mtlx"));
    for (const Problem &problem : read.problems) {
        require(problem.line > 0 && problem.column > 0, "a problem without a place");
        if (problem.severity == Problem::Severity::FileRefused)
            require(read.nodeDefs.empty(), "a nodedef of a refused file");
    }
    requireDistinctKeys(LibraryDiff::compare({}, {libraryOf(read)}, {}));
    return 0;
}
