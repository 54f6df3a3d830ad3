#include <nodelibrary/NodeDefAsset.h>

#include "IODescBuilder.h"

#include <assets/AssetDatabaseService.h>
#include <assets/MetaData.h>
#include <data/ClassRegistry.h>
#include <filterbase/UserDataKeys.h>
#include <futures/future.h>
#include <surfaces/Surface.h>

#include <QMetaType>

#include <typeinfo>

namespace Tesk::NodeLibrary {

using Assets::MetaDataItem;

// Stored in user files: never rename.
static const QString sDefinitionField = QStringLiteral("definition");
static const QString sVariationTextField = QStringLiteral("variationText");
static const QString sSourceFileField = QStringLiteral("sourceFile");

static constexpr int sClassVersion = 100;

const QString NodeDefAsset::sTypeName = QStringLiteral("Tesk::NodeLibrary::NodeDefAsset");

NodeDefAsset::NodeDefAsset(const SharedObjectBadge &badge, Data::SerializableData *parent)
    : RenderableBase::RenderableAsset(badge, parent)
    , definition(*this, sDefinitionField, {})
    , variationText(*this, sVariationTextField, {})
    , sourceFile(*this, sSourceFileField, {})
{
    // The order of registration is the order of storage.
    registerField(definition);
    registerField(variationText);
    registerField(sourceFile);
}

NodeDefAsset::~NodeDefAsset() = default;

std::shared_ptr<NodeDefAsset> NodeDefAsset::create()
{
    using Shared = SharedObject<Assets::Asset>;
    return Shared::adopt(new NodeDefAsset(Shared::badge(), nullptr));
}

void NodeDefAsset::registerClass()
{
    static const bool sDone = [] {
        Data::ClassRegistry::setCurrentVersion(sTypeName, sClassVersion);
        Data::ClassRegistry::registerFactory(QMetaType::fromType<NodeDefAsset>().id(),
                                             [] { return create(); });
        Assets::AssetDatabaseService::registerAssetType(sTypeName, &NodeDefAsset::encodingOf);
        return true;
    }();
    Q_UNUSED(sDone)
}

Assets::AssetEncoding NodeDefAsset::encodingOf(const Assets::Asset &asset)
{
    using Assets::AssetEncoding;
    return typeid(asset) == typeid(NodeDefAsset) ? AssetEncoding::Anywhere
                                                 : AssetEncoding::ByCommitter;
}

const QString &NodeDefAsset::typeName() const
{
    return sTypeName;
}

const QString &NodeDefAsset::category() const
{
    static const QString sCategory = QStringLiteral("filter");
    return sCategory;
}

QUrl NodeDefAsset::getSourceFileUrl() const
{
    return sourceFile.get();
}

bool NodeDefAsset::initMetaData(Tesk::Assets::MetaData &metaData) const
{
    const NodeDef &nodeDef = definition.get();
    metaData.set(FilterBase::uniqueOutputUserDataKey, nodeDef.hasUniqueOutput(),
                 MetaDataItem::Boolean);
    metaData.set(FilterBase::defaultActiveOutputsUserDataKey, nodeDef.defaultActiveOutputs(),
                 MetaDataItem::Text);
    // An absent item leaves a dynamic filter's as it is, an empty one would clear it.
    const QString variableUsage = nodeDef.variableUsage();
    if (!variableUsage.isEmpty())
        metaData.set(FilterBase::variableUsageUserDataKey, variableUsage, MetaDataItem::Text);
    if (!nodeDef.nodeGroup.isEmpty())
        metaData.set(QStringLiteral("Category"), nodeDef.nodeGroup, MetaDataItem::Text);
    if (!variationText.get().isEmpty())
        metaData.set(FilterBase::variationTypeUserDataKey, variationText.get(), MetaDataItem::Text);
    return true;
}

future<std::shared_ptr<Surfaces::Surface>> NodeDefAsset::getEmbeddedThumbnail(std::stop_token) const
{
    return make_ready_future(std::shared_ptr<Surfaces::Surface>());
}

std::shared_ptr<const RenderableBase::RenderableIODesc>
NodeDefAsset::getIODesc(const std::unordered_map<unsigned int, QVariant> &) const
{
    if (!m_ioDesc)
        describe();
    return m_ioDesc;
}

void NodeDefAsset::describe() const
{
    m_ioDesc = IODescBuilder::build(definition.get(), thread());
}

QString NodeDefAsset::variationType() const
{
    return variationText.get();
}

} // namespace Tesk::NodeLibrary
