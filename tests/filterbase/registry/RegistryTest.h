#pragma once

#include "../support/FakeFilter.h"

#include <filterbase/FilterManager.h>

#include <assets/AssetDatabaseService.h>
#include <assets/AssetReference.h>
#include <assets/MemoryStore.h>
#include <support/RecordedLog.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace FilterBaseTesting {

using Tesk::Assets::AssetReference;
using Tesk::FilterBase::DynamicFilterAsset;
using Tesk::FilterBase::FilterDescAsset;
using Tesk::FilterBase::FilterManager;

/// A host with a database in memory and, once a test has made it, a filter manager.
class RegistryTest : public testing::Test
{
protected:
    RegistryTest();
    ~RegistryTest() override;

    /// Makes the manager, which reads the collection; the one before is thrown away.
    FilterManager &startManager();
    FilterManager &manager() { return *m_manager; }
    void stopManager() { m_manager.reset(); }

    /// Closes the database and opens what it stored, as the next start of the host would.
    void restart();

    /// Files a concrete filter of that name; \a variation is what it answers as a StaticFilter.
    AssetReference staticFilter(const QByteArray &id, const QString &name,
                                const QString &variation = QStringLiteral("default_color"));

    /// Files an implementation of a dynamic filter of that name, for those variations, with one
    /// parameter that bears the asset's id.
    AssetReference implementation(const QByteArray &id, const QString &name,
                                  const QString &variations);

    /// Files an asset that is no filter.
    AssetReference plainAsset(const QByteArray &id);

    /// A reference that names no asset.
    AssetReference dangling(const QByteArray &id = "gone");

    /// Files a descriptor that bears that name and lists those implementations.
    std::shared_ptr<FilterDescAsset> descriptor(const QByteArray &id, const QString &name,
                                                const std::vector<AssetReference> &list = {});

    void setNextVersion(const AssetReference &older, const AssetReference &newer);
    AssetReference nextVersionOf(const AssetReference &reference);
    void setMetaData(const AssetReference &reference, const QString &key, const QVariant &value);

    std::shared_ptr<FilterDescAsset> asDescriptor(const AssetReference &reference);
    std::shared_ptr<DynamicFilterAsset> asDynamicFilter(const AssetReference &reference);
    QString nameOf(const AssetReference &reference);
    bool isHidden(const AssetReference &reference);
    std::shared_ptr<Tesk::Assets::CollectionAsset> collection();

    /// The types under which an implementation stands, and the usages, as "key=id" in order.
    std::vector<std::string> filed(const AssetReference &dynamicFilter);

    /// Files one implementation and returns the dynamic filter that came of it.
    AssetReference importOne(const AssetReference &reference, const QString &nameOverride = {});

    Tesk::Assets::MemoryStore store; ///< a view of what is stored
    std::shared_ptr<Tesk::Assets::AssetDatabaseService> database;
    Tesk::TestSupport::RecordedLog log;

private:
    void openDatabase();
    void closeDatabase();

    std::unique_ptr<FilterManager> m_manager;
};

/// Matches a warning of the registry's service from one of FilterManager's operations.
testing::Matcher<const Tesk::VantBase::LogMessage &> warnsIn(const std::string &operation,
                                                             const std::string &text);

std::string describe(const AssetReference &reference);

} // namespace FilterBaseTesting

namespace Tesk::Assets {
void PrintTo(const AssetReference &reference, std::ostream *stream);
}
