#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <nodelibrary/LibraryDiff.h>
#include <nodelibrary/Problem.h>

#include <QString>
#include <QStringList>

#include <functional>
#include <stop_token>
#include <vector>

namespace Tesk::Assets {
class AssetDatabaseService;
}
namespace Tesk::FilterBase {
class FilterManager;
}

namespace Tesk::NodeLibrary {

/// How an import is done.
struct NODELIBRARY_EXPORT ImportOptions
{
    /// How far the import is: files read, then filters filed.
    struct Progress
    {
        enum class Stage : int { Reading = 0, Filing = 1 };

        Stage stage = Stage::Reading;
        int done = 0;
        int total = 0;
    };

    QString library = {};          ///< names every path; when empty each is named by its last part
    QString nameOverride = {};     ///< files everything under this one name, unless empty
    bool groupByNodeGroup = false; ///< files each group under its name; wins over nameOverride
    bool dryRun = false;           ///< reads and compares, and changes nothing
    std::function<void(const Progress &)> progress = {};
    std::stop_token stopToken = {}; ///< a stop leaves the catalogue as it was
};

/// What an import did, or would do.
struct NODELIBRARY_EXPORT ImportSummary
{
    struct Filter
    {
        QString name;
        FilterChange::State state = FilterChange::State::Unchanged;
        bool isDynamic = false;
    };

    int fileCount = 0;
    int nodeDefCount = 0;        ///< nodedefs that were read and not refused
    std::vector<Filter> filters; ///< those of the catalogue, by ascending key
    Problems problems;
    bool isCancelled = false;

    std::size_t count(FilterChange::State state) const;

    /// Whether a file or a nodedef was refused.
    bool hasRefusals() const;
};

/// Brings node libraries into a catalogue.
///
/// Each path is a library; importing one of that name again replaces what it brought before.
/// All of an import is stored together or not at all.
///
/// Threads: the main thread.
/// Errors: bad libraries are reported, never thrown. What the database throws passes, and
/// then, as after a stop in the midst of filing, the manager must be made anew.
class NODELIBRARY_EXPORT LibraryImporter
{
public:
    LibraryImporter(Assets::AssetDatabaseService &database, FilterBase::FilterManager &manager);

    ImportSummary import(const QStringList &paths, const ImportOptions &options);

    /// The name of the library that \a path stands for: its last part without ".mtlx".
    static QString libraryNameOf(const QString &path);

private:
    Assets::AssetDatabaseService &m_database;
    FilterBase::FilterManager &m_manager;
};

} // namespace Tesk::NodeLibrary
