#include <renderablebase/RenderableAsset.h>

#include "RoundTrip.h"

#include <futures/future.h>
#include <support/DeferredDeletes.h>
#include <support/Printers.h>

#include <gtest/gtest.h>

#include <memory>

namespace Tesk::RenderableBase {

namespace {

const QString sTypeName = QStringLiteral("Tesk::RenderableBase::Drawing");
const QString sCategory = QStringLiteral("drawing");

class Drawing : public RenderableAsset
{
public:
    using RenderableAsset::RenderableAsset;

    const QString &typeName() const override { return sTypeName; }
    const QString &category() const override { return sCategory; }
    QUrl getSourceFileUrl() const override { return {}; }
    bool initMetaData(Assets::MetaData &) const override { return false; }
    future<std::shared_ptr<Surfaces::Surface>> getEmbeddedThumbnail(std::stop_token) const override
    {
        return make_ready_future(std::shared_ptr<Surfaces::Surface>());
    }
    std::shared_ptr<const RenderableIODesc>
    getIODesc(const std::unordered_map<unsigned int, QVariant> &) const override
    {
        return std::make_shared<RenderableIODesc>();
    }
};

} // namespace

TEST(RenderableAssetTest, followsEveryPolicyUnlessASubclassCannot)
{
    using Shared = SharedObject<Assets::Asset>;
    const auto drawing = Shared::adopt(new Drawing(Shared::badge(), nullptr));

    for (const auto policy :
         {ResolutionPolicy::Inherited, ResolutionPolicy::FromInput, ResolutionPolicy::Fixed})
        EXPECT_EQ(drawing->actualResolutionPolicy(policy), policy);
}

TEST(RenderableAssetTest, everyPolicyComesBackFromItsStoredForm)
{
    for (const auto policy :
         {ResolutionPolicy::Inherited, ResolutionPolicy::FromInput, ResolutionPolicy::Fixed}) {
        ResolutionPolicy read = ResolutionPolicy::Inherited;

        RenderableBaseTesting::readStored(RenderableBaseTesting::stored(policy), read);

        EXPECT_EQ(read, policy);
    }
}

TEST(RenderableAssetTest, isFoundFromAPlainAssetByItsMetaObject)
{
    using Shared = SharedObject<Assets::Asset>;
    const std::shared_ptr<Assets::Asset> asset =
            Shared::adopt(new Drawing(Shared::badge(), nullptr));

    EXPECT_NE(qobject_cast<AssetWithIO *>(asset.get()), nullptr);
    EXPECT_NE(qobject_cast<RenderableAsset *>(asset.get()), nullptr);
}

} // namespace Tesk::RenderableBase
