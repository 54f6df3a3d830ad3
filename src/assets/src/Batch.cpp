#include "Batch.h"

#include <algorithm>

namespace Tesk::Assets {

bool PendingChange::isEmpty() const
{
    return !removed && !created && !contentChanged && !name && !hidden && metaData.empty()
           && !thumbnail && items.empty();
}

PendingChange &Batch::change(const AssetRecord &record)
{
    PendingChange *&known = m_byRecord[&record];
    if (known == nullptr) {
        known = m_changes.emplace_back(std::make_unique<PendingChange>()).get();
        known->record = &record;
    }
    return *known;
}

const PendingChange *Batch::find(const AssetRecord &record) const
{
    const auto found = m_byRecord.find(&record);
    return found == m_byRecord.end() ? nullptr : found->second;
}

void Batch::drop(const AssetRecord &record)
{
    if (m_byRecord.erase(&record) == 0)
        return;
    std::erase_if(m_changes, [&](const auto &change) { return change->record == &record; });
}

bool Batch::isEmpty() const
{
    return std::all_of(m_changes.begin(), m_changes.end(),
                       [](const auto &change) { return change->isEmpty(); });
}

bool Batch::needsBodies() const
{
    return std::any_of(m_changes.begin(), m_changes.end(), [](const auto &change) {
        return change->created || change->contentChanged;
    });
}

std::vector<AssetChange> Batch::notices() const
{
    using Kind = AssetChange::Kind;
    std::vector<AssetChange> changes;
    for (const auto &change : m_changes) {
        const auto add = [&](bool happened, Kind kind) {
            if (happened)
                changes.push_back({kind, AssetReference(change->record), false});
        };
        add(change->removed && !change->created, Kind::Removed);
        add(change->created, change->madePersistent ? Kind::MadePersistent : Kind::Created);
        if (change->created || change->removed)
            continue;
        add(change->contentChanged, Kind::ContentChanged);
        add(change->name.has_value(), Kind::Renamed);
        add(!change->metaData.empty(), Kind::MetaDataChanged);
        add(change->hidden.has_value(), Kind::VisibilityChanged);
        add(change->thumbnail.has_value(), Kind::ThumbnailChanged);
        add(!change->items.empty(), Kind::ItemsChanged);
    }
    return changes;
}

} // namespace Tesk::Assets
