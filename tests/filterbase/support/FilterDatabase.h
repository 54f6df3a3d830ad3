#pragma once

#include "FakeFilter.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>

#include <assets/AssetDatabaseService.h>
#include <assets/AssetReference.h>
#include <assets/MetaData.h>
#include <support/RecordedLog.h>

#include <gtest/gtest.h>

#include <QString>

#include <memory>
#include <utility>
#include <vector>

namespace FilterBaseTesting {

/// A test with an asset database in memory, registered as the process's service, and a log.
class FilterDatabaseTest : public testing::Test
{
protected:
    FilterDatabaseTest();
    ~FilterDatabaseTest() override;

    using Items = std::vector<std::pair<QString, QVariant>>;

    /// Files a fake filter with that metadata; its id is \a id, its name too.
    std::shared_ptr<FakeFilter> filter(const QByteArray &id, const Items &items = {});
    std::shared_ptr<PlainAsset> plainAsset(const QByteArray &id);
    /// The reference of an asset that does not exist.
    Tesk::Assets::AssetReference dangling(const QByteArray &id = "gone");

    std::shared_ptr<Tesk::FilterBase::DynamicFilterAsset>
    dynamicFilter(const QByteArray &id = "dynamic");
    std::shared_ptr<Tesk::FilterBase::FilterDescAsset>
    filterDesc(const QByteArray &id = "filterDesc://blur");

    std::shared_ptr<Tesk::Assets::AssetDatabaseService> database;
    Tesk::TestSupport::RecordedLog log;
};

/// A description with parameters of those identifiers, uids counted up from \a firstUid.
std::shared_ptr<Tesk::RenderableBase::RenderableIODesc>
descriptionOf(const std::vector<const char *> &identifiers, unsigned int firstUid = 1);

std::vector<std::string> identifiersOf(const Tesk::RenderableBase::RenderableIODesc &description);

/// A record that names an implementation.
Tesk::FilterBase::ImplementationInfoPtr recordOf(const Tesk::Assets::AssetReference &reference);

} // namespace FilterBaseTesting
