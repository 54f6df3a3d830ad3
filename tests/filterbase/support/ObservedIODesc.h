#pragma once

#include <data/FieldEvent.h>
#include <renderablebase/RenderableIODesc.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace FilterBaseTesting {

/// A description of a client's own class that records what it hears, its clones included.
class ObservedIODesc : public Tesk::RenderableBase::RenderableIODesc
{
    Q_OBJECT
public:
    /// Phase (0 before, 1 after) and index of each event of the parameter list.
    using Events = std::vector<std::pair<int, qsizetype>>;

    /// Makes the class known to the class registry, so that it can be cloned.
    static void registerClass();

    explicit ObservedIODesc(Tesk::Data::SerializableData *parent = nullptr);

    void modelHasChanged(const Tesk::Data::FieldEvent &event) override;

    static Events &events();                ///< of all objects of the class, since the last clear()
    static std::vector<qsizetype> &sizes(); ///< of the list at each event

    /// From which event on, counted from 1, the list calls itself read-only; 0 for never.
    static std::size_t &readOnlyFrom();
};

/// A description of a class that nobody can make a copy of.
class UncopyableIODesc : public Tesk::RenderableBase::RenderableIODesc
{
    Q_OBJECT
public:
    explicit UncopyableIODesc(int number);
};

} // namespace FilterBaseTesting
