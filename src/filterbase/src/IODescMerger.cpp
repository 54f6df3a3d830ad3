#include "IODescMerger.h"

#include <filterbase/ImplementationInfo.h>

#include <QHash>

#include <algorithm>
#include <bit>
#include <utility>

namespace Tesk::FilterBase {

using RenderableBase::RenderableIODesc;

// Up to here comparing texts one by one is faster than hashing them.
static constexpr std::size_t sLinearLimit = 40;

IODescMerger::IODescMerger(std::shared_ptr<RenderableIODesc> merged)
    : m_merged(std::move(merged))
    , m_observed(m_merged->metaObject() != &RenderableIODesc::staticMetaObject)
    , m_keepsPositions(m_observed)
    , m_sizeBefore(m_merged->parameters.values().size())
{
    m_entries.reserve(2 * m_sizeBefore);
    for (const Parameter &parameter : m_merged->parameters.values()) {
        const Position first = parameter ? find(parameter->identifier.get()) : sNone;
        if (first != sNone)
            addTwin(parameter, first);
        else
            arrive(parameter, m_tail);
    }
}

void IODescMerger::add(const RenderableIODesc &description, ImplementationInfo &record)
{
    ++m_round;
    m_uids.clear();
    const std::vector<Parameter> &list = description.parameters.values();
    Position predecessor = sNone; // means the front at first, later the end
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (!list[i]) {
            predecessor = m_tail;
            continue;
        }
        Position entry = find(list[i]->identifier.get());
        if (entry == sNone) {
            entry = arrive(list[i], predecessor);
            if (m_observed) {
                m_merged->parameters.insert(static_cast<qsizetype>(m_positions.indexOf(entry)),
                                            list[i]);
            }
        }
        // Of one identifier given twice the first one counts.
        if (std::exchange(m_entries[entry].round, m_round) != m_round)
            collectUids(entry, list[i]->uid.get());
        predecessor = entry;
    }
    sortUids();
    for (const UidPair &pair : m_uids)
        record.paramUidCorrespondance.overwrite(pair.mergedUid, pair.uid);
}

std::shared_ptr<RenderableIODesc> IODescMerger::finish()
{
    if (!m_observed && m_entries.size() != m_sizeBefore) {
        std::vector<Parameter> list;
        list.reserve(m_entries.size());
        for (Position entry = m_head; entry != sNone; entry = m_entries[entry].next)
            list.push_back(std::move(m_entries[entry].parameter));
        m_merged->parameters.assign(std::move(list));
    }
    m_merged->updateCache();
    return m_merged;
}

IODescMerger::Position IODescMerger::find(const QString &identifier) const
{
    const auto is = [&](Position entry) {
        return m_entries[entry].parameter->identifier.get() == identifier;
    };
    if (m_table.empty()) {
        for (Position entry = 0; entry < m_entries.size(); ++entry) {
            if (m_entries[entry].parameter && is(entry))
                return entry;
        }
        return sNone;
    }
    const std::size_t hash = qHash(identifier);
    const std::size_t mask = m_table.size() - 1;
    for (std::size_t slot = hash & mask; m_table[slot] != sNone; slot = (slot + 1) & mask) {
        if (m_entries[m_table[slot]].hash == hash && is(m_table[slot]))
            return m_table[slot];
    }
    return sNone;
}

// Takes in a parameter whose identifier is new.
IODescMerger::Position IODescMerger::arrive(const Parameter &parameter, Position predecessor)
{
    const Position entry = link({.parameter = parameter}, predecessor);
    if (2 * m_entries.size() > m_table.size() && m_entries.size() > sLinearLimit)
        buildTable();
    else if (!m_table.empty() && parameter)
        enterInTable(entry);
    return entry;
}

// The order of the twins does not matter: sortUids() sees to that of their uids.
void IODescMerger::addTwin(const Parameter &parameter, Position first)
{
    const Position twin = m_entries[first].twin;
    const Position entry = link({.parameter = parameter, .twin = twin, .isTwin = true}, m_tail);
    m_entries[first].twin = entry;
}

// Puts the entry right behind its predecessor, or to the front.
IODescMerger::Position IODescMerger::link(Entry entry, Position predecessor)
{
    const auto position = static_cast<Position>(m_entries.size());
    Position &place = predecessor == sNone ? m_head : m_entries[predecessor].next;
    entry.next = std::exchange(place, position);
    if (entry.next == sNone)
        m_tail = position;
    m_entries.push_back(std::move(entry));
    if (m_keepsPositions)
        m_positions.insertBehind(predecessor);
    return position;
}

void IODescMerger::buildTable()
{
    m_table.assign(std::bit_ceil(4 * m_entries.size()), sNone);
    for (Position entry = 0; entry < m_entries.size(); ++entry) {
        if (m_entries[entry].parameter && !m_entries[entry].isTwin)
            enterInTable(entry);
    }
}

void IODescMerger::enterInTable(Position entry)
{
    const std::size_t hash = qHash(m_entries[entry].parameter->identifier.get());
    const std::size_t mask = m_table.size() - 1;
    std::size_t slot = hash & mask;
    while (m_table[slot] != sNone)
        slot = (slot + 1) & mask;
    m_entries[entry].hash = hash;
    m_table[slot] = entry;
}

// A description that came with one identifier twice keeps both parameters: both are translated.
void IODescMerger::collectUids(Position entry, unsigned int uid)
{
    for (; entry != sNone; entry = m_entries[entry].twin)
        m_uids.push_back({m_entries[entry].parameter->uid.get(), uid, entry});
}

// Brings the pairs into an order with the same outcome as that of the merged list, which differs
// only where parameters share a uid: there the last one of the list has to be entered last.
void IODescMerger::sortUids()
{
    const auto byUid = [](const UidPair &a, const UidPair &b) {
        return a.mergedUid < b.mergedUid;
    };
    const auto sameUid = [](const UidPair &a, const UidPair &b) {
        return a.mergedUid == b.mergedUid;
    };
    const auto byPosition = [this](const UidPair &a, const UidPair &b) {
        return m_positions.indexOf(a.entry) < m_positions.indexOf(b.entry);
    };
    std::sort(m_uids.begin(), m_uids.end(), byUid);
    auto first = m_uids.begin();
    while ((first = std::adjacent_find(first, m_uids.end(), sameUid)) != m_uids.end()) {
        const auto last = std::upper_bound(first, m_uids.end(), *first, byUid);
        keepPositions();
        std::sort(first, last, byPosition);
        first = last;
    }
}

void IODescMerger::keepPositions()
{
    if (std::exchange(m_keepsPositions, true))
        return;
    std::vector<Position> list;
    list.reserve(m_entries.size());
    for (Position entry = m_head; entry != sNone; entry = m_entries[entry].next)
        list.push_back(entry);
    m_positions.assign(list);
}

} // namespace Tesk::FilterBase
