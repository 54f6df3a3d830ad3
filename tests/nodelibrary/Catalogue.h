#pragma once

#include <nodelibrary/HeldCatalogue.h>
#include <nodelibrary/LibraryImporter.h>
#include <nodelibrary/NodeDefAsset.h>

#include <assets/AssetDatabaseService.h>
#include <assets/CollectionAsset.h>
#include <assets/MemoryStore.h>
#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/FilterManager.h>

#include <QByteArray>
#include <QStringList>

#include <map>
#include <memory>

namespace Tesk::NodeLibrary {

/// A catalogue in memory that can be closed and opened again.
class Catalogue
{
public:
    Catalogue();
    ~Catalogue();
    Catalogue(const Catalogue &) = delete;
    Catalogue &operator=(const Catalogue &) = delete;

    /// As a new process would find it.
    void reopen();

    Assets::AssetDatabaseService &database() { return *m_database; }
    FilterBase::FilterManager &manager() { return *m_manager; }

    ImportSummary import(const QStringList &paths, const ImportOptions &options = {})
    {
        return LibraryImporter(*m_database, *m_manager).import(paths, options);
    }

    std::shared_ptr<FilterBase::DynamicFilterAsset> dynamicFilter(const QString &name);
    std::shared_ptr<FilterBase::FilterDescAsset> descriptor(const QString &name);

    /// The nodedef names of a dynamic filter's records, by "types/KEY" and "usages/KEY".
    std::map<QString, QString> keysOf(const QString &name);

    /// The identifiers of the collection's items, in order.
    QStringList collection();

    /// The asset of the nodedef's generation, standing or not; null when there is none.
    std::shared_ptr<NodeDefAsset> asset(const QString &nodeDef, int generation = 1);

    /// The identifier "NODEDEF#GENERATION" of an asset's next version, empty for none.
    QString nextOf(const QString &nodeDef, int generation = 1);

private:
    void open();
    void close();

    Assets::MemoryStore m_store; // keeps the content between two openings
    std::shared_ptr<Assets::AssetDatabaseService> m_database;
    std::unique_ptr<FilterBase::FilterManager> m_manager;
};

} // namespace Tesk::NodeLibrary
