#pragma once

#include <data/data_export.h>

#include <data/FieldEvent.h>

#include <QFlags>
#include <QString>
#include <QVariant>

namespace Tesk::Data {

class SerializableData;
namespace Serialization {
class Node;
}

/// A named, typed member of a SerializableData that is written, read, compared and copied.
///
/// Every access goes through touch() of the owner first, so that a shell has its content
/// before anybody sees it.
///
/// Ownership: a member of its owner; registered once, in the owner's constructor.
/// Threads: not thread-safe; used on the thread of its owner.
/// Errors: every mutation of a read-only field raises a ReadOnlyException and changes nothing.
/// What is thrown by who hears an event reaches the caller: from before the change nothing has
/// changed, from after it the change stands.
/// Persistence: the name and the order of registration are part of the stored form.
class DATA_EXPORT SerializableFieldBase
{
public:
    enum OptionBase {
        ReadOnly = 1,
        NotifyChanges = 2,          ///< each mutation sends an event before and one after
        NotifyEqualAssignments = 4, ///< assigning the value that is there counts as a change
        NotPersisted = 8,           ///< never written; reset when the owner is read
    };
    Q_DECLARE_FLAGS(Options, OptionBase)

    SerializableFieldBase(const SerializableFieldBase &) = delete;
    SerializableFieldBase &operator=(const SerializableFieldBase &) = delete;

    // The order of the virtual operations is fixed: clients are compiled against it.
    virtual ~SerializableFieldBase();

    /// Assigns a default-constructed value, or removes all elements.
    virtual void resetToDefault() = 0;
    /// Takes over the content of \a other; a field of another type raises a LogicErrorException.
    virtual void copyFrom(const SerializableFieldBase &other) = 0;
    /// False for a field of another type.
    virtual bool isEqual(const SerializableFieldBase &other) const = 0;
    /// Adds its own sub-node to \a parent.
    virtual void serialize(Serialization::Node &parent) const = 0;
    /// Reads its own sub-node of \a parent; the read-only option does not stop it.
    virtual void deserialize(const Serialization::Node &parent) = 0;
    /// Moves the records that the field owns to the thread of the owner.
    virtual void adoptOwnerThread() = 0;

    const SerializableData &owner() const { return m_owner; }
    const QString &name() const { return m_name; }
    /// As given to the constructor, whether or not an inhibitor suspends one of them.
    Options options() const { return m_options; }

    /// Raises the error of a mutation that the read-only option forbids.
    [[noreturn]] void throwReadOnlyError() const;

protected:
    SerializableFieldBase(SerializableData &owner, const QString &name, Options options);

    SerializableData &mutableOwner() const { return m_owner; }
    void touch() const; // inline in SerializableData.h

    /// Touches the owner, then raises when the field is read-only.
    void checkWritable() const;
    /// Raises a LogicErrorException unless \a other is of the very same type.
    void checkSameType(const SerializableFieldBase &other) const;
    bool isSameType(const SerializableFieldBase &other) const;

    bool hasEffectiveOption(OptionBase option) const;
    /// Whether events are heard now; ask before building a costly key.
    bool isNotifying() const { return m_options.testFlag(NotifyChanges) && isHeard(); }
    void notify(FieldEvent::Phase phase, qsizetype index = -1) const
    {
        if (isNotifying())
            send(phase, index, {});
    }
    void notify(FieldEvent::Phase phase, qsizetype index, const QVariant &key) const
    {
        if (isNotifying())
            send(phase, index, key);
    }
    /// To be called once after each mutation that made a difference.
    void markChanged() const;
    /// Sends the event after a mutation; then marks it if it made a difference, also where
    /// who hears the event throws.
    void notifyChanged(bool differs, qsizetype index = -1) const;
    void notifyChanged(bool differs, qsizetype index, const QVariant &key) const;

private:
    friend class SerializableData;

    bool isHeard() const;
    void send(FieldEvent::Phase phase, qsizetype index, const QVariant &key) const;

    SerializableData &m_owner;
    SerializableFieldBase *m_next = nullptr; // in order of registration
    const QString m_name;
    const Options m_options;
};

Q_DECLARE_OPERATORS_FOR_FLAGS(SerializableFieldBase::Options)

} // namespace Tesk::Data
