#include "Implementations.h"

#include <filterbase/SerializationRegistration.h>

#include <assets/MemoryStore.h>
#include <data/ClassRegistry.h>
#include <futures/future.h>
#include <vantbase/ServiceLocator.h>

#include <QCoreApplication>
#include <QEvent>

#include <utility>

namespace FilterBaseBenchmarks {

using namespace Tesk;
using Assets::AssetDatabaseService;
using RenderableBase::RenderableIODesc;

namespace {

const QString sTypeName = QStringLiteral("FilterBaseBenchmarks::Implementation");
const QString sCategory = QStringLiteral("filter");

class Implementation : public RenderableBase::RenderableAsset
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
    std::shared_ptr<const RenderableIODesc>
    getIODesc(const std::unordered_map<unsigned int, QVariant> &) const override
    {
        return description;
    }

    std::shared_ptr<const RenderableIODesc> description;
};

using Shared = SharedObject<Assets::Asset>;

} // namespace

std::vector<PlainDescription> overlappingDescriptions(int count, int parameters, int overlapPercent)
{
    std::vector<PlainDescription> descriptions(static_cast<std::size_t>(count));
    unsigned int uid = 0;
    for (int d = 0; d < count; ++d) {
        for (int i = 0; i < parameters; ++i) {
            const bool shared = (i * 37 + d * 11) % 100 < overlapPercent;
            descriptions[static_cast<std::size_t>(d)].push_back(
                    {QStringLiteral("parameter_%1_of_%2").arg(i).arg(shared ? 0 : d), ++uid});
        }
    }
    return descriptions;
}

std::shared_ptr<RenderableIODesc> describe(const PlainDescription &parameters)
{
    auto description = std::make_shared<RenderableIODesc>();
    for (const PlainParameter &parameter : parameters) {
        auto made = std::make_shared<RenderableBase::ParameterDesc>();
        made->identifier.set(parameter.identifier);
        made->uid.set(parameter.uid);
        made->type.set(QStringLiteral("float"));
        made->defaultValue.set(0.5);
        description->parameters.append(made);
    }
    return description;
}

Database::Database()
    : m_service(AssetDatabaseService::open(std::make_unique<Assets::MemoryStore>()))
{
    FilterBase::Serialization::prepareSerialization();
    AssetDatabaseService::registerAssetType(sTypeName);
    VantBase::ServiceLocator::instance().registerService(AssetDatabaseService::typeId(), m_service);
}

Database::~Database()
{
    VantBase::ServiceLocator::instance().unregisterService(AssetDatabaseService::typeId());
    m_service->close();
    drainDeferredDeletes();
}

Assets::AssetReference Database::implementation(std::shared_ptr<const RenderableIODesc> description)
{
    const auto asset = Shared::adopt(new Implementation(Shared::badge(), nullptr));
    asset->description = std::move(description);
    return m_service->insertAsset(asset, "implementation-" + QByteArray::number(m_count++),
                                  QStringLiteral("Blur"));
}

std::shared_ptr<FilterBase::DynamicFilterAsset> makeFilter()
{
    return Shared::adopt(new FilterBase::DynamicFilterAsset(Shared::badge(), nullptr));
}

QString keyOf(int number)
{
    return QStringLiteral("type%1").arg(number, 5, 10, QLatin1Char('0'));
}

void drainDeferredDeletes()
{
    for (int level = 0; level < 4; ++level)
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::sendPostedEvents(); // only this shortens the queue of what was delivered
}

} // namespace FilterBaseBenchmarks
