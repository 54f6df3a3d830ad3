#include "ClientModule.h"

#include <filterbase/StaticFilter.h>

#include <futures/future.h>
#include <renderablebase/RenderableAsset.h>
#include <surfaces/Surface.h>

#include <QString>
#include <QUrl>

namespace ClientModule {

namespace {

using namespace Tesk;

class ClientFilter : public RenderableBase::RenderableAsset, public FilterBase::StaticFilter
{
public:
    using RenderableBase::RenderableAsset::RenderableAsset;

    const QString &typeName() const override { return sTypeName; }
    const QString &category() const override { return sCategory; }
    QUrl getSourceFileUrl() const override { return {}; }
    bool initMetaData(Assets::MetaData &) const override { return false; }
    future<std::shared_ptr<Surfaces::Surface>> getEmbeddedThumbnail(std::stop_token) const override
    {
        return make_ready_future(std::shared_ptr<Surfaces::Surface>());
    }
    std::shared_ptr<const RenderableBase::RenderableIODesc>
    getIODesc(const std::unordered_map<unsigned int, QVariant> &) const override
    {
        return nullptr;
    }
    QString variationType() const override { return QStringLiteral("client"); }

private:
    inline static const QString sTypeName = QStringLiteral("ClientModule::ClientFilter");
    inline static const QString sCategory = QStringLiteral("filter");
};

} // namespace

std::shared_ptr<Assets::Asset> makeFilter()
{
    using Shared = SharedObject<Assets::Asset>;
    return Shared::adopt(new ClientFilter(Shared::badge(), nullptr));
}

const std::type_info *staticFilterType()
{
    return &typeid(FilterBase::StaticFilter);
}

} // namespace ClientModule
