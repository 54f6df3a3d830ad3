// This program brings registration functions of its own, which stand before those of the
// libraries: each call is written down, and any one can be made to fail.
#include <filterbase/SerializationRegistration.h>

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/ImplementationInfo.h>

#include <assets/AssetDatabaseService.h>
#include <assets/Serialization.h>
#include <data/ClassRegistry.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QMetaType>
#include <QString>

#include <optional>
#include <string>
#include <vector>

namespace {

using Calls = std::vector<std::string>;

struct Refused
{
    std::size_t call = 0;
};

struct Recorder
{
    bool isOn = false; // off while the libraries are loaded
    Calls calls;
    std::optional<std::size_t> refused; // the number of the call that fails
};

Recorder &recorder()
{
    static Recorder sRecorder;
    return sRecorder;
}

void note(const std::string &call)
{
    Recorder &record = recorder();
    if (!record.isOn)
        return;
    record.calls.push_back(call);
    if (record.calls.size() - 1 == record.refused)
        throw Refused{*record.refused};
}

std::string textOf(const Tesk::Data::ClassRegistry::Updater &updater)
{
    using Function = void (*)(Tesk::Data::Serialization::Node &);
    const Function *const function = updater.target<Function>();
    if (function && *function == &Tesk::Assets::Serialization::upgrade2_3AssetDataTo3_0)
        return "upgrade2_3AssetDataTo3_0";
    if (function && *function == &Tesk::Assets::Serialization::updateAsset_ExternalFileUrls)
        return "updateAsset_ExternalFileUrls";
    return "something else";
}

} // namespace

namespace Tesk::Data {

void ClassRegistry::setCurrentVersion(const QString &className, int version)
{
    note("version " + std::to_string(version) + " of " + className.toStdString());
}

void ClassRegistry::registerFactory(int metaTypeId, Factory)
{
    note(std::string("factory of ") + QMetaType(metaTypeId).name());
}

void ClassRegistry::declareClassNameAlias(const QString &oldName, const QString &currentName)
{
    note("alias " + oldName.toStdString() + " of " + currentName.toStdString());
}

void ClassRegistry::declareUpdater(const QString &className, int fromVersion, int toVersion,
                                   const Updater &updater)
{
    note("updater " + std::to_string(fromVersion) + " to " + std::to_string(toVersion) + " of "
         + className.toStdString() + ": " + textOf(updater));
}

} // namespace Tesk::Data

namespace Tesk::Assets {

void AssetDatabaseService::registerAssetType(const QString &typeName)
{
    note("asset type " + typeName.toStdString());
}

void AssetDatabaseService::registerAssetType(const QString &typeName, AssetEncoding encoding)
{
    note("asset type " + typeName.toStdString()
         + (encoding == AssetEncoding::Anywhere ? " encoded anywhere"
                                                : " encoded by the committer"));
}

void AssetDatabaseService::registerAssetType(const QString &typeName, AssetEncodingOf encodingOf)
{
    note("asset type " + typeName.toStdString()
         + (encodingOf == &FilterBase::DynamicFilterAsset::encodingOf
                    ? " encoded as the filter says"
            : encodingOf == &FilterBase::FilterDescAsset::encodingOf
                    ? " encoded as the descriptor says"
                    : " encoded as somebody says"));
}

} // namespace Tesk::Assets

namespace Tesk::FilterBase {

using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

const Calls &steps()
{
    static const Calls sSteps = {
            "version 100 of Tesk::FilterBase::ImplementationInfo",
            "version 300 of Tesk::FilterBase::FilterDescAsset",
            "factory of Tesk::FilterBase::FilterDescAsset",
            "alias Tesk::RenderableBase::FilterDescAsset of Tesk::FilterBase::FilterDescAsset",
            "updater 100 to 200 of Tesk::FilterBase::FilterDescAsset: upgrade2_3AssetDataTo3_0",
            "updater 200 to 300 of Tesk::FilterBase::FilterDescAsset: "
            "updateAsset_ExternalFileUrls",
            "version 100 of Tesk::FilterBase::DynamicFilterAsset",
            "factory of Tesk::FilterBase::DynamicFilterAsset",
            "asset type Tesk::FilterBase::FilterDescAsset encoded as the descriptor says",
            "asset type Tesk::FilterBase::DynamicFilterAsset encoded as the filter says",
    };
    return sSteps;
}

struct Attempt
{
    Calls calls;
    std::optional<std::size_t> raised; // which refused call reached the caller
};

Attempt attempt(std::optional<std::size_t> refused = std::nullopt)
{
    recorder() = {true, {}, refused};
    Attempt result;
    try {
        Serialization::prepareSerialization();
    } catch (const Refused &error) {
        result.raised = error.call;
    }
    result.calls = recorder().calls;
    recorder().isOn = false;
    return result;
}

/// All that the process does: what is done once cannot be tried twice.
struct Attempts
{
    std::vector<Attempt> failed; // each fails one step later than the one before
    Attempt whole;
    Attempt again;
};

const Attempts &attempts()
{
    static const Attempts sAttempts = [] {
        Attempts made;
        for (std::size_t step = 0; step < steps().size(); ++step)
            made.failed.push_back(attempt(step));
        made.whole = attempt();
        made.again = attempt(0);
        return made;
    }();
    return sAttempts;
}

} // namespace

TEST(RegistrationStepsTest, areTakenInThisOrder)
{
    EXPECT_THAT(attempts().whole.calls, ElementsAreArray(steps()));
    EXPECT_EQ(attempts().whole.raised, std::nullopt);
}

TEST(RegistrationStepsTest, endWithTheOneThatRaisesAndPassItsErrorOn)
{
    ASSERT_EQ(attempts().failed.size(), steps().size());
    for (std::size_t step = 0; step < steps().size(); ++step)
        EXPECT_EQ(attempts().failed[step].raised, step);
}

TEST(RegistrationStepsTest, beginAgainFromTheFirstAfterAnError)
{
    for (std::size_t step = 0; step < steps().size(); ++step) {
        const auto end = steps().begin() + static_cast<std::ptrdiff_t>(step) + 1;
        EXPECT_THAT(attempts().failed[step].calls, ElementsAreArray(steps().begin(), end));
    }
}

TEST(RegistrationStepsTest, areNotTakenASecondTime)
{
    EXPECT_THAT(attempts().again.calls, IsEmpty());
    EXPECT_EQ(attempts().again.raised, std::nullopt);
}

} // namespace Tesk::FilterBase
