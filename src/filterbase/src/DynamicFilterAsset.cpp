#include <filterbase/DynamicFilterAsset.h>

#include <filterbase/UserDataKeys.h>

#include "Answering.h"
#include "IODescMerger.h"
#include "ResolveWithIO.h"

#include <assets/AssetControl.h>
#include <assets/MetaDataControl.h>
#include <futures/future.h>
#include <renderablebase/RenderableAsset.h>
#include <vantbase/FileUtils.h>
#include <vantbase/Location.h>
#include <vantbase/Logger.h>
#include <vantbase/Ownership.h>
#include <vantbase/Raise.h>

#include <memory>
#include <optional>
#include <string>
#include <typeinfo>
#include <utility>

namespace Tesk::FilterBase {

using Assets::AssetReference;
using Assets::MetaDataItem;
using Assets::AssetControl::isNewVersion;
using RenderableBase::OutputDesc;
using RenderableBase::RenderableIODesc;
using RenderableBase::ResolutionPolicy;
using RenderableBase::ValueType;

// Stored in user files: never rename.
static const QString sTypesField = QStringLiteral("types");
static const QString sUsagesField = QStringLiteral("usages");
static const QString sIODescField = QStringLiteral("ioDesc");

static const QString sTypePrefix = QStringLiteral("default_");
static const QString sOutputSizeUsage = QStringLiteral("output_size");

const QString DynamicFilterAsset::sTypeName =
        QStringLiteral("Tesk::FilterBase::DynamicFilterAsset");

const RenderableBase::Usage DynamicFilterAsset::sDynamicUsage{QStringLiteral("Dynamic"),
                                                              QStringLiteral("dynamic")};

DynamicFilterAsset::DynamicFilterAsset(const SharedObjectBadge &badge,
                                       Data::SerializableData *parent)
    : RenderableBase::AssetWithIO(badge, parent)
    , types(*this, sTypesField, Data::SerializableFieldBase::NotifyChanges)
    , usages(*this, sUsagesField, Data::SerializableFieldBase::NotifyChanges)
    , ioDesc(*this, sIODescField, Data::SerializableFieldBase::NotifyChanges)
{
    // The order of registration is the order of storage.
    registerField(types);
    registerField(usages);
    registerField(ioDesc);
}

DynamicFilterAsset::~DynamicFilterAsset() = default;

QString DynamicFilterAsset::typeKeyFromOutputDesc(const OutputDesc &output)
{
    switch (output.valueType.get()) {
    case ValueType::Float:
        return QStringLiteral("float");
    case ValueType::Float2:
        return QStringLiteral("float2");
    case ValueType::Float3:
        return QStringLiteral("float3");
    case ValueType::Float4:
        return QStringLiteral("float4");
    case ValueType::Integer:
        return QStringLiteral("integer");
    case ValueType::Integer2:
        return QStringLiteral("integer2");
    case ValueType::Integer3:
        return QStringLiteral("integer3");
    case ValueType::Integer4:
        return QStringLiteral("integer4");
    case ValueType::Image:
        return output.isColor() ? QStringLiteral("color") : QStringLiteral("grayscale");
    case ValueType::String:
        return QStringLiteral("string");
    case ValueType::Unknown:
        break;
    }
    return {}; // also for numbers that this version has no name for
}

void DynamicFilterAsset::onLoadedFromDisk()
{
    // The base has nothing to add that a filter needs. What a worker has read goes where the
    // filter lives.
    if (const auto &description = ioDesc.get())
        description->moveWholeTo(thread());
    else
        generateIODesc();
}

const QString &DynamicFilterAsset::typeName() const
{
    return sTypeName;
}

const QString &DynamicFilterAsset::category() const
{
    static const QString sCategory = QStringLiteral("filter");
    return sCategory;
}

QUrl DynamicFilterAsset::getSourceFileUrl() const
{
    const Answering answering(ownReference(), Answering::Question::SourceFile);
    if (answering.isRepeated()) {
        logRepeated(TESK_HERE, ownReference());
        return {};
    }
    const ImplementationInfo *const first = firstImplementation();
    const auto implementation = first ? first->implementationRef.get().asset() : nullptr;
    return implementation ? implementation->getSourceFileUrl() : QUrl();
}

bool DynamicFilterAsset::initMetaData(Tesk::Assets::MetaData &) const
{
    return false;
}

QByteArray DynamicFilterAsset::generateId() const
{
    // The maps are in ascending order of their keys. Nothing parts the pieces, and stored ids
    // depend on it: leave it so.
    QByteArray content;
    for (const ImplementationMap *map : {&types, &usages}) {
        for (const auto &[key, info] : *map) {
            content += key.toUtf8();
            if (info)
                content += info->implementationRef.get().id();
        }
    }
    // Who looks for a twin first and files the filter then, asks twice in a row.
    thread_local QByteArray lastContent;
    thread_local QByteArray lastId;
    if (lastId.isEmpty() || content != lastContent) {
        lastId = VantBase::FileUtils::dataToHash(content);
        lastContent = content;
    }
    return lastId;
}

future<std::shared_ptr<Surfaces::Surface>>
DynamicFilterAsset::getEmbeddedThumbnail(std::stop_token stopToken) const
{
    const Answering answering(ownReference(), Answering::Question::Thumbnail);
    if (answering.isRepeated()) {
        logRepeated(TESK_HERE, ownReference());
        return make_ready_future(std::shared_ptr<Surfaces::Surface>());
    }
    const ImplementationInfo *const first = firstImplementation();
    const auto implementation = first ? first->implementationRef.get().asset() : nullptr;
    if (!implementation)
        return make_ready_future(std::shared_ptr<Surfaces::Surface>());
    return implementation->getEmbeddedThumbnail(std::move(stopToken));
}

std::shared_ptr<const RenderableBase::RenderableIODesc>
DynamicFilterAsset::getIODesc(const std::unordered_map<unsigned int, QVariant> &) const
{
    if (const auto &description = ioDesc.get())
        return description;
    return std::make_shared<RenderableBase::RenderableIODesc>();
}

const ImplementationInfo &
DynamicFilterAsset::getImplementationForUsageAndType(const QString &usage,
                                                     const QString &type) const
{
    // Not owned through the event loop, which is gone when the library is unloaded.
    static const ImplementationInfo sNone;

    if (const auto entry = usages.find(usage); entry != usages.end() && entry->second)
        return *entry->second;
    if (const auto entry = types.find(type); entry != types.end() && entry->second)
        return *entry->second;
    return sNone;
}

const ImplementationInfo &
DynamicFilterAsset::getImplementationForUsageAndType(const QString &usage,
                                                     const OutputDesc &output) const
{
    return getImplementationForUsageAndType(usage, typeKeyFromOutputDesc(output));
}

ResolutionPolicy DynamicFilterAsset::actualResolutionPolicy(ResolutionPolicy requested) const
{
    ResolutionPolicy actual = requested;
    forEachImplementation([&actual, requested](const QString &, const ImplementationInfo &info) {
        const auto asset = info.implementationRef.get().asset();
        if (const auto *renderable = qobject_cast<RenderableBase::RenderableAsset *>(asset.get()))
            actual = renderable->actualResolutionPolicy(requested);
        return actual == requested;
    });
    return actual;
}

bool DynamicFilterAsset::resolutionPolicyIsCustomizable() const
{
    return !usages.contains(sOutputSizeUsage);
}

bool DynamicFilterAsset::containsPreviousVersion(const AssetReference &candidate) const
{
    bool found = false;
    forEachImplementation([&](const QString &, const ImplementationInfo &info) {
        const auto asset = info.implementationRef.get().asset();
        found = asset && isNewVersion(asset, candidate);
        return !found;
    });
    return found;
}

static std::optional<QString> textItem(const AssetReference &reference, const QString &key)
{
    const std::optional<QVariant> item = Assets::MetaDataControl::getItem(reference, key);
    return item ? std::optional(item->toString()) : std::nullopt;
}

void DynamicFilterAsset::registerImplementation(AssetReference implementation)
{
    // An item that is there wins, even when it is empty.
    std::optional<QString> variations = textItem(implementation, variationTypeUserDataKey);
    if (!variations)
        variations = textItem(implementation, altVariationTypeUserDataKey);
    if (!variations) {
        VantBase::raiseInvalidArgument(TESK_HERE,
                                       QStringLiteral("The filter %1 has no variation type")
                                               .arg(implementation.debugInfo()));
    }

    // Blanks belong to the keys.
    for (const QString &variation : variations->split(QLatin1Char(','))) {
        if (variation.isEmpty())
            continue;
        const bool isType = variation.startsWith(sTypePrefix);
        ImplementationMap &target = isType ? types : usages;
        const QString key = isType ? variation.mid(sTypePrefix.size()) : variation;
        if (target.contains(key)) {
            VantBase::raiseInvalidArgument(
                    TESK_HERE,
                    QStringLiteral(
                            "The filter %1 already has an implementation for this variation type")
                            .arg(implementation.debugInfo()));
        }
        ImplementationInfoPtr info(new ImplementationInfo);
        VantBase::forbidStealingOwnership(info.get());
        info->implementationRef.set(implementation);
        // Made on this thread, which may be a worker's; records live and die with their filter's.
        if (info->thread() != thread())
            info->moveToThread(thread());
        target.insert(key, std::move(info));
        if (!dependencies.contains(implementation))
            dependencies.append(implementation);
    }
    copyMetaData(implementation);
}

void DynamicFilterAsset::copyMetaData(const AssetReference &implementation)
{
    using Assets::MetaDataControl::getItem;
    using Assets::MetaDataControl::setMetaDataValue;

    const AssetReference own = ownReference();
    if (const auto usage = textItem(implementation, variableUsageUserDataKey)) {
        setMetaDataValue(own, variableUsageUserDataKey, *usage, Accessibility::Public,
                         MetaDataItem::Text);
    }
    if (const auto unique = getItem(implementation, uniqueOutputUserDataKey)) {
        // What cannot be converted is false.
        setMetaDataValue(own, uniqueOutputUserDataKey, unique->toBool(), Accessibility::Public,
                         MetaDataItem::Boolean);
    }
    if (const auto outputs = textItem(implementation, defaultActiveOutputsUserDataKey)) {
        setMetaDataValue(own, defaultActiveOutputsUserDataKey, *outputs, Accessibility::Public,
                         MetaDataItem::Text);
    }
}

static std::shared_ptr<RenderableIODesc>
copyOf(const std::shared_ptr<const RenderableIODesc> &source)
{
    if (!source)
        return std::make_shared<RenderableIODesc>();
    return std::static_pointer_cast<RenderableIODesc>(source->clone());
}

void DynamicFilterAsset::generateIODesc()
{
    const auto logNoDescription = [this](const std::string &place,
                                         const AssetReference &reference) {
        VantBase::logger(VantBase::LogService::Filter).record(VantBase::LogLevel::Warning, place)
                << "The implementation " << reference.debugInfo()
                << " is not an AssetWithIO, cannot generate IODesc for dynamic filter "
                << ownReference().debugInfo();
    };

    const ImplementationInfo *const first = firstImplementation();
    if (!first)
        return;
    const AssetReference firstReference = first->implementationRef.get();
    const auto firstAsset = resolveWithIO(firstReference);
    if (!firstAsset) {
        logNoDescription(TESK_HERE, firstReference);
        return;
    }
    IODescMerger merger(copyOf(firstAsset->getIODesc({})));

    for (const ImplementationMap *map : {&types, &usages}) {
        for (const auto &[key, info] : *map) {
            if (!info)
                continue;
            const AssetReference reference = info->implementationRef.get();
            const auto implementation = resolveWithIO(reference);
            if (!implementation) {
                logNoDescription(TESK_HERE, reference);
                continue;
            }
            if (const auto description = implementation->getIODesc({}))
                merger.add(*description, *info);
        }
    }
    const std::shared_ptr<RenderableIODesc> merged = merger.finish();
    // Made on this thread, which may be a worker's; the description goes where the filter lives.
    merged->moveWholeTo(thread());
    ioDesc.set(merged);
}

Assets::AssetEncoding DynamicFilterAsset::encodingOf(const Assets::Asset &filter)
{
    using Assets::AssetEncoding;

    if (typeid(filter) != typeid(DynamicFilterAsset))
        return AssetEncoding::ByCommitter;
    const auto &self = static_cast<const DynamicFilterAsset &>(filter);
    bool isOurs = true;
    self.forEachImplementation([&isOurs](const QString &, const ImplementationInfo &info) {
        isOurs = typeid(info) == typeid(ImplementationInfo);
        return isOurs;
    });
    const auto &description = self.ioDesc.get();
    isOurs = isOurs && (!description || description->isOfOwnClasses());
    return isOurs ? AssetEncoding::Anywhere : AssetEncoding::ByCommitter;
}

const ImplementationInfo *DynamicFilterAsset::firstImplementation() const
{
    const ImplementationInfo *first = nullptr;
    forEachImplementation([&first](const QString &, const ImplementationInfo &info) {
        first = &info;
        return false;
    });
    return first;
}

template<class Visitor>
void DynamicFilterAsset::forEachImplementation(Visitor visit) const
{
    for (const ImplementationMap *map : {&types, &usages}) {
        for (const auto &[key, info] : *map) {
            if (info && !visit(key, *info))
                return;
        }
    }
}

} // namespace Tesk::FilterBase
