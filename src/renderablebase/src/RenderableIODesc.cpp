#include <renderablebase/RenderableIODesc.h>

#include "ClassRegistration.h"

#include <data/FieldEvent.h>
#include <data/Serialization.h>

#include <QThread>

#include <algorithm>
#include <typeinfo>
#include <unordered_map>
#include <vector>

namespace Tesk::RenderableBase {

// Stored in user files: never rename.
static const QString sParametersField = QStringLiteral("parameters");
static const QString sOutputsField = QStringLiteral("outputs");

const QString RenderableIODesc::sTypeName =
        QStringLiteral("Tesk::RenderableBase::RenderableIODesc");

[[maybe_unused]] static const bool sRegistered =
        registerClass<RenderableIODesc>(RenderableIODesc::sTypeName);

// Up to here a walk finds a parameter nearly as fast, and loading is to be fast.
static constexpr qsizetype sWalkLimit = 32;

// Positions in the parameter list.
struct RenderableIODesc::Cache
{
    std::unordered_map<QString, std::size_t> byIdentifier;
    std::unordered_map<unsigned int, std::size_t> byUid;
};

RenderableIODesc::RenderableIODesc(Data::SerializableData *parent)
    : Data::SerializableData(parent)
    , parameters(*this, sParametersField, Data::SerializableFieldBase::NotifyChanges)
    , outputs(*this, sOutputsField, Data::SerializableFieldBase::NotifyChanges)
{
    // The order of registration is the order of storage.
    registerField(parameters);
    registerField(outputs);
}

RenderableIODesc::~RenderableIODesc() = default;

std::shared_ptr<ParameterDesc>
RenderableIODesc::parameterByIdentifier(const QString &identifier) const
{
    const auto &list = parameters.values();
    if (m_cache) {
        const auto entry = m_cache->byIdentifier.find(identifier);
        return entry == m_cache->byIdentifier.end() ? nullptr : list[entry->second];
    }
    for (const auto &parameter : list) {
        if (parameter && parameter->identifier.get() == identifier)
            return parameter;
    }
    return nullptr;
}

std::shared_ptr<ParameterDesc> RenderableIODesc::parameterByUid(unsigned int uid) const
{
    const auto &list = parameters.values();
    if (m_cache) {
        const auto entry = m_cache->byUid.find(uid);
        return entry == m_cache->byUid.end() ? nullptr : list[entry->second];
    }
    for (const auto &parameter : list) {
        if (parameter && parameter->uid.get() == uid)
            return parameter;
    }
    return nullptr;
}

void RenderableIODesc::updateCache()
{
    const auto &list = parameters.values();
    auto cache = std::make_unique<Cache>();
    cache->byIdentifier.reserve(list.size());
    cache->byUid.reserve(list.size());
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (!list[i])
            continue;
        cache->byIdentifier.try_emplace(list[i]->identifier.get(), i);
        cache->byUid.try_emplace(list[i]->uid.get(), i);
    }
    m_cache = std::move(cache);
}

void RenderableIODesc::moveWholeTo(QThread *thread)
{
    if (thread == QThread::currentThread())
        return;
    const auto moveOwn = [thread](QObject *object) {
        if (object && !object->parent() && object->thread() == QThread::currentThread())
            object->moveToThread(thread);
    };
    for (const auto &parameter : parameters.values())
        moveOwn(parameter.get());
    for (const auto &output : outputs.values())
        moveOwn(output.get());
    moveOwn(this);
}

template<class Desc>
static bool areAllOf(const std::vector<std::shared_ptr<Desc>> &list)
{
    return std::all_of(list.begin(), list.end(), [](const auto &each) {
        const Desc *const desc = each.get();
        return desc == nullptr || typeid(*desc) == typeid(Desc);
    });
}

bool RenderableIODesc::isOfOwnClasses() const
{
    return typeid(*this) == typeid(RenderableIODesc) && areAllOf(parameters.values())
           && areAllOf(outputs.values());
}

void RenderableIODesc::modelHasChanged(const Data::FieldEvent &event)
{
    if (event.fieldName == sParametersField)
        m_cache.reset();
    Data::SerializableData::modelHasChanged(event);
}

void RenderableIODesc::onLoadedFromDisk()
{
    // Loading sends no events.
    m_cache.reset();
    if (parameters.size() > sWalkLimit)
        updateCache();
}

} // namespace Tesk::RenderableBase
