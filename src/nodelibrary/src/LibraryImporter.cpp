#include <nodelibrary/LibraryImporter.h>

#include <nodelibrary/HeldCatalogue.h>
#include <nodelibrary/NodeLibraryReader.h>

#include "CatalogueWriter.h"
#include "LostNodeDefs.h"

#include <assets/AssetDatabaseService.h>
#include <filterbase/FilterManager.h>
#include <vantbase/ThreadUtils.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace Tesk::NodeLibrary {

using Progress = ImportOptions::Progress;

std::size_t ImportSummary::count(FilterChange::State state) const
{
    return static_cast<std::size_t>(
            std::count_if(filters.begin(), filters.end(),
                          [state](const Filter &each) { return each.state == state; }));
}

bool ImportSummary::hasRefusals() const
{
    return std::any_of(problems.begin(), problems.end(), [](const Problem &problem) {
        return problem.severity != Problem::Severity::Remark;
    });
}

LibraryImporter::LibraryImporter(Assets::AssetDatabaseService &database,
                                 FilterBase::FilterManager &manager)
    : m_database(database)
    , m_manager(manager)
{}

QString LibraryImporter::libraryNameOf(const QString &path)
{
    // "." and ".." have no last part that says anything.
    QString name = QFileInfo(QDir::cleanPath(QFileInfo(path).absoluteFilePath())).fileName();
    if (name.endsWith(".mtlx"_L1))
        name.chop(5);
    return name;
}

static QString filterNameOf(const NodeDef &nodeDef, const ImportOptions &options)
{
    if (options.groupByNodeGroup)
        return nodeDef.nodeGroup.isEmpty() ? u"(none)"_s : nodeDef.nodeGroup;
    return options.nameOverride.isEmpty() ? nodeDef.node : options.nameOverride;
}

namespace {

// Reads the paths, one library after the other.
class PathReader
{
public:
    PathReader(const ImportOptions &options, ImportSummary &summary)
        : m_options(options)
        , m_summary(summary)
    {}

    std::vector<ReadLibrary> read(const QStringList &paths)
    {
        std::vector<ReadLibrary> libraries;
        for (const QString &path : paths) {
            const QString root = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
            NodeLibrary read = NodeLibraryReader::readPath(
                    root, [this](int done, int total) { return tell(done, total); });
            m_summary.fileCount += read.fileCount;
            if (read.isCancelled)
                m_summary.isCancelled = true;
            const bool isReadable = noteProblems(path, root, read);
            std::move(read.problems.begin(), read.problems.end(),
                      std::back_inserter(m_summary.problems));
            if (isReadable)
                libraries.push_back(toReadLibrary(path, std::move(read)));
        }
        return libraries;
    }

    const std::vector<LostNodeDefs::RefusedFile> &refusedFiles() const { return m_refusedFiles; }

private:
    // A library of which nothing can be read is a mistake, not one that has become empty: false.
    bool noteProblems(const QString &path, const QString &root, NodeLibrary &read)
    {
        std::vector<LostNodeDefs::RefusedFile> refused;
        for (const Problem &problem : read.problems) {
            if (problem.severity == Problem::Severity::FileRefused)
                refused.push_back({libraryNameFor(path), problem.file,
                                   QDir(root).relativeFilePath(problem.file)});
        }
        if (!refused.empty() && refused.size() >= static_cast<std::size_t>(read.fileCount))
            return false;
        if (read.fileCount == 0)
            read.problems.push_back({.severity = Problem::Severity::Remark,
                                     .file = root,
                                     .text = u"no file below it has a name that ends in .mtlx"_s});
        m_refusedFiles.insert(m_refusedFiles.end(), refused.begin(), refused.end());
        return true;
    }

    QString libraryNameFor(const QString &path) const
    {
        return m_options.library.isEmpty() ? LibraryImporter::libraryNameOf(path)
                                           : m_options.library;
    }

    bool tell(int done, int total) const
    {
        if (m_options.progress)
            m_options.progress({Progress::Stage::Reading, done, total});
        return !m_options.stopToken.stop_requested();
    }

    ReadLibrary toReadLibrary(const QString &path, NodeLibrary &&read) const
    {
        ReadLibrary library;
        library.name = libraryNameFor(path);
        library.nodeDefs.reserve(read.nodeDefs.size());
        for (NodeDef &nodeDef : read.nodeDefs) {
            QString filterName = filterNameOf(nodeDef, m_options);
            library.nodeDefs.push_back({std::move(nodeDef), std::move(filterName)});
        }
        return library;
    }

    const ImportOptions &m_options;
    ImportSummary &m_summary;
    std::vector<LostNodeDefs::RefusedFile> m_refusedFiles;
};

} // namespace

static void summarise(ImportSummary &summary, const ImportPlan &plan)
{
    for (const FilterChange &filter : plan.filters)
        summary.filters.push_back({filter.name, filter.state, filter.isDynamic});
    summary.problems.insert(summary.problems.end(), plan.problems.begin(), plan.problems.end());
}

ImportSummary LibraryImporter::import(const QStringList &paths, const ImportOptions &options)
{
    ImportSummary summary;
    PathReader reader(options, summary);
    std::vector<ReadLibrary> read = reader.read(paths);
    if (summary.isCancelled || read.empty())
        return summary;
    for (const ReadLibrary &library : read)
        summary.nodeDefCount += static_cast<int>(library.nodeDefs.size());

    const HeldCatalogue held = HeldCatalogue::read(m_database, m_manager);
    const Problems lost = LostNodeDefs::find(reader.refusedFiles(), held, read);
    ImportPlan plan =
            LibraryDiff::compare(held.implementations(), std::move(read),
                                 {.isDynamic =
                                          [&](const QString &key) {
                                              return held.hasDynamicFilter(key)
                                                     || m_manager.getDynamicFilter(key).isValid();
                                          },
                                  .latestGeneration =
                                          [&](const QString &nodeDef) {
                                              return held.latestGeneration(nodeDef);
                                          }});
    summarise(summary, plan);
    summary.problems.insert(summary.problems.end(), lost.begin(), lost.end());
    if (options.dryRun)
        return summary;

    Assets::AssetDatabaseService::BatchScope scope(m_database);
    CatalogueWriter writer(m_database, m_manager, held, std::move(plan));
    if (!writer.write(options)) {
        summary.isCancelled = true;
        return summary;
    }
    summary.problems.insert(summary.problems.end(), writer.problems().begin(),
                            writer.problems().end());
    // What others posted to this thread for the batch belongs to it.
    QCoreApplication::sendPostedEvents();
    scope.commit();
    return summary;
}

} // namespace Tesk::NodeLibrary
