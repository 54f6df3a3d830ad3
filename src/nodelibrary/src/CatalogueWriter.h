#pragma once

#include <nodelibrary/HeldCatalogue.h>
#include <nodelibrary/LibraryDiff.h>
#include <nodelibrary/LibraryImporter.h>

#include <assets/AssetDatabaseService.h>
#include <assets/AssetReference.h>

#include <QString>
#include <QUrl>

#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace Tesk::FilterBase {
class DynamicFilterAsset;
}

namespace Tesk::NodeLibrary {

/// Carries an import plan out. To be used inside a batch scope.
class CatalogueWriter
{
public:
    CatalogueWriter(Assets::AssetDatabaseService &database, FilterBase::FilterManager &manager,
                    const HeldCatalogue &held, ImportPlan plan);

    /// False when a stop was requested: what was written must then be rolled back.
    bool write(const ImportOptions &options);

    /// Implementations that the catalogue did not take.
    const Problems &problems() const { return m_problems; }

private:
    Assets::AssetDatabaseService::NewAsset createAsset(CreatedAsset &planned);
    void describeMerged() const;
    const QUrl &urlOf(const QString &filePath);
    void linkVersions();
    void markReplaced();
    void noteMoves();
    void fileFilter(const FilterChange &filter);
    std::vector<std::size_t> revive(const FilterChange &filter,
                                    const FilterBase::DynamicFilterAsset &old);
    void dropStaleEntries(const QString &name);
    void removeFilter(const FilterChange &filter);
    void checkFiled(const FilterChange &filter, const Assets::AssetReference &filed);

    Assets::AssetDatabaseService &m_database;
    FilterBase::FilterManager &m_manager;
    const HeldCatalogue &m_held;
    ImportPlan m_plan; // its definitions move into the assets
    std::map<QString, int> m_libraryOrders;
    std::vector<std::shared_ptr<NodeDefAsset>> m_created; // of the plan's new assets
    std::pair<QString, QUrl> m_lastFile;
    Problems m_problems;
};

} // namespace Tesk::NodeLibrary
