#pragma once

#include "OrderedPositions.h"

#include <renderablebase/ParameterDesc.h>
#include <renderablebase/RenderableIODesc.h>

#include <QString>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Tesk::FilterBase {

class ImplementationInfo;

/// Merges the parameters of descriptions into one description.
///
/// A parameter is known by its identifier. One that is missing goes right behind the parameter
/// which it follows in its own description, or to the front when it is the first one there.
///
/// What an observer of the merged description would see are insertions one by one. A plain
/// RenderableIODesc has none, because its change events reach overrides only: then the list is
/// written once, at the end, since moving half of a long list for each insertion would cost more
/// than all the rest.
class IODescMerger
{
public:
    /// Starts from \a merged, which the caller has not handed out yet.
    explicit IODescMerger(std::shared_ptr<RenderableBase::RenderableIODesc> merged);

    /// Inserts the parameters of \a description that are missing, and enters in the uid table
    /// of \a record, for each merged parameter that \a description has, the uid it has there.
    void add(const RenderableBase::RenderableIODesc &description, ImplementationInfo &record);

    /// Returns the merged description, complete.
    std::shared_ptr<RenderableBase::RenderableIODesc> finish();

private:
    using Parameter = std::shared_ptr<RenderableBase::ParameterDesc>;
    using Position = std::uint32_t; // of an entry in m_entries, which are in order of arrival
    static constexpr Position sNone = OrderedPositions::sFront;

    struct Entry
    {
        Parameter parameter;    // may be null in the description we started from
        std::size_t hash = 0;   // once there is a table
        Position next = sNone;  // in the order of the merged list
        Position twin = sNone;  // a later one with the same identifier
        unsigned int round = 0; // the last add() that met it
        bool isTwin = false;    // not to be found by its identifier
    };

    struct UidPair
    {
        unsigned int mergedUid = 0;
        unsigned int uid = 0;
        Position entry = sNone;
    };

    Position find(const QString &identifier) const;
    Position arrive(const Parameter &parameter, Position predecessor);
    void addTwin(const Parameter &parameter, Position first);
    Position link(Entry entry, Position predecessor);
    void enterInTable(Position entry);
    void buildTable();
    void collectUids(Position entry, unsigned int uid);
    void sortUids();
    void keepPositions();

    const std::shared_ptr<RenderableBase::RenderableIODesc> m_merged;
    const bool m_observed;
    bool m_keepsPositions; // once somebody asked for one
    const std::size_t m_sizeBefore;
    std::vector<Entry> m_entries;
    Position m_head = sNone;
    Position m_tail = sNone;
    std::vector<Position> m_table; // open addressing by hash; empty while a walk is cheaper
    OrderedPositions m_positions;  // of the entries in the merged list
    unsigned int m_round = 0;
    std::vector<UidPair> m_uids; // of the description being added
};

} // namespace Tesk::FilterBase
