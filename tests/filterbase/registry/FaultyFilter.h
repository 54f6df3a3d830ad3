#pragma once

#include "../support/FakeFilter.h"
#include "Operation.h"

#include <functional>
#include <memory>
#include <stdexcept>

namespace FilterBaseTesting {

/// What an implementation throws that was told to.
class InjectedFault : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// A concrete filter that may throw, or do something else, when it is asked.
class FaultyFilter : public FakeFilter
{
    Q_OBJECT
public:
    static const QString sTypeName;

    /// Called before each answer of any of them; nothing when it is empty.
    static std::function<void(const FaultyFilter &asked, Operation operation)> sBeforeAnswer;

    FaultyFilter(const Tesk::SharedObjectBadge &badge, Tesk::Data::SerializableData *parent);
    static std::shared_ptr<FaultyFilter> make();
    static void registerClass();

    const QString &typeName() const override { return sTypeName; }
    const QString &category() const override;
    void modelHasChanged(const Tesk::Data::FieldEvent &event) override;
    std::shared_ptr<const Tesk::RenderableBase::RenderableIODesc>
    getIODesc(const Tweaks &tweaks) const override;
    QString variationType() const override;
};

/// An asset of category "filter" that has neither a variation type nor inputs and outputs.
class BareFilter : public PlainAsset
{
    Q_OBJECT
public:
    static const QString sTypeName;

    BareFilter(const Tesk::SharedObjectBadge &badge, Tesk::Data::SerializableData *parent);
    static std::shared_ptr<BareFilter> make();
    static void registerClass();

    const QString &typeName() const override { return sTypeName; }
    const QString &category() const override;
};

} // namespace FilterBaseTesting
