#include <assets/AssetReference.h>

#include "AssetNames.h"
#include "AssetRecord.h"
#include "AssetSlot.h"
#include "AssetTable.h"
#include "DatabaseCore.h"
#include "DecodingScope.h"

#include <assets/AssetDatabaseService.h>
#include <vantbase/ServiceLocator.h>

namespace Tesk::Assets {

static std::shared_ptr<Asset> liveAsset(const AssetRecord &record)
{
    const AssetSlot *slot = record.slot.load(std::memory_order_acquire);
    if (slot == nullptr || slot->state.load(std::memory_order_acquire) != SlotState::Live)
        return nullptr;
    return slot->weak.lock();
}

std::shared_ptr<Asset> AssetReference::asset() const
{
    if (m_record == nullptr)
        return nullptr;
    if (std::shared_ptr<Asset> asset = liveAsset(*m_record))
        return asset;
    const std::shared_ptr<DatabaseCore> core = m_record->table->core();
    return core ? core->resolveQuietly(*m_record) : nullptr;
}

QByteArray AssetReference::id() const
{
    return m_record == nullptr ? QByteArray() : idOf(*m_record);
}

AssetReference::Lifespan AssetReference::lifespan() const
{
    return m_record == nullptr ? Lifespan::Persistent
                               : m_record->lifespan.load(std::memory_order_acquire);
}

QString AssetReference::debugInfo() const
{
    if (m_record == nullptr)
        return QStringLiteral("<null reference>");
    const QString id = QString::fromUtf8(m_record->id());
    const std::shared_ptr<Asset> asset = liveAsset(*m_record);
    const QString name = asset ? AssetNames::get(*asset) : QString();
    return name.isEmpty() ? QStringLiteral("[%1]").arg(id)
                          : QStringLiteral("\"%1\" [%2]").arg(name, id);
}

std::size_t AssetReference::hash() const noexcept
{
    return m_record == nullptr ? 0 : m_record->hash;
}

bool AssetReference::equalIds(const AssetReference &left, const AssetReference &right)
{
    return left.m_record != nullptr && right.m_record != nullptr
           && left.m_record->hash == right.m_record->hash
           && left.m_record->id() == right.m_record->id();
}

bool AssetReference::lessIds(const AssetReference &left, const AssetReference &right)
{
    if (left.m_record == nullptr || right.m_record == nullptr)
        return left.m_record == nullptr && right.m_record != nullptr;
    return left.m_record->id() < right.m_record->id();
}

} // namespace Tesk::Assets

namespace Tesk::Data::Serialization {

void serializeToNode(Node &node, const Tesk::Assets::AssetReference &reference)
{
    node.setValue(reference.id());
}

void deserializeFromNode(const Node &node, Tesk::Assets::AssetReference &reference)
{
    using Tesk::Assets::AssetReference;
    const QByteArrayView id = node.bytesView();
    if (id.isEmpty()) {
        reference = AssetReference();
    } else if (Tesk::Assets::AssetTable *table = Tesk::Assets::DecodingScope::table()) {
        reference = AssetReference(&table->intern(id));
    } else {
        const auto service =
                VantBase::ServiceLocator::instance().service<Tesk::Assets::AssetDatabaseService>();
        reference = service->referenceFromId(id.toByteArray());
    }
}

} // namespace Tesk::Data::Serialization
