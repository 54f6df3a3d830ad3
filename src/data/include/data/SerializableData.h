#pragma once

#include <data/data_export.h>

#include <data/BodySource.h>
#include <data/ChangeListener.h>
#include <data/FieldEvent.h>
#include <data/SerializableFieldBase.h>

#include <vantbase/Ownership.h>

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <array>
#include <atomic>
#include <cstddef>
#include <iterator>
#include <memory>
#include <mutex>

namespace Tesk::Data {

/// The fields of one object in the order of their registration, for range-based for.
class FieldRange
{
public:
    class DATA_EXPORT Iterator
    {
    public:
        using iterator_category = std::forward_iterator_tag;
        using difference_type = std::ptrdiff_t;
        using value_type = SerializableFieldBase *;
        using pointer = void;
        using reference = SerializableFieldBase *;

        Iterator() = default;
        SerializableFieldBase *operator*() const { return m_field; }
        Iterator &operator++();
        Iterator operator++(int)
        {
            const Iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const Iterator &a, const Iterator &b) = default;

    private:
        friend class FieldRange;
        explicit Iterator(SerializableFieldBase *field)
            : m_field(field)
        {}

        SerializableFieldBase *m_field = nullptr;
    };

    Iterator begin() const { return Iterator(m_first); }
    Iterator end() const { return Iterator(); }
    bool empty() const { return m_first == nullptr; }
    qsizetype size() const { return static_cast<qsizetype>(std::distance(begin(), end())); }

private:
    friend class SerializableData;
    explicit FieldRange(SerializableFieldBase *first)
        : m_first(first)
    {}

    SerializableFieldBase *m_first;
};

/// An object whose content is a list of named fields, which can be stored and copied.
///
/// It may be a shell: its body is decoded when a field of it is first touched, exactly once,
/// from whatever thread. While that happens the object sends no events and no change notices
/// and its read-only fields can be filled; only the decoding thread sees it half filled, all
/// others wait.
///
/// Ownership: as QObject; records and clones are marked so that no other runtime takes them.
/// Threads: fields carry no lock; touch() and isShell() may be called on any thread. What a
/// decode on another thread makes is moved to the thread of the object.
/// Errors: touching a shell whose body cannot be decoded raises what its source raised; the
/// object stays a shell with default content, and the next touch tries again.
/// Persistence: class name, version and fields; see docs/format/fields.md.
class DATA_EXPORT SerializableData : public QObject, public VantBase::OwnershipMark
{
    Q_OBJECT
public:
    explicit SerializableData(SerializableData *parent = nullptr);
    ~SerializableData() override;

    // The order of the virtual operations is fixed: clients are compiled against it.

    /// Called after all fields have been read.
    virtual void onLoadedFromDisk();
    /// A hash of the stored form, the same in every process.
    virtual QByteArray hash() const;
    /// Receives the events of the fields.
    virtual void modelHasChanged(const FieldEvent &event);
    /// Called on a copy after all its fields have been copied.
    virtual void onCloned();

    QStringList getFieldNames() const;
    /// Null when there is no field of this name.
    SerializableFieldBase *getField(const QString &name) const;
    FieldRange fields() const { return FieldRange(m_firstField); }

    /// Passes \a event to modelHasChanged().
    void triggerDataChanged(const FieldEvent &event);

    /// A deep copy without parent, of the same class, that dies by deferred deletion.
    ///
    /// Objects that the fields share are copied too, each once. The listener and the body
    /// source are not copied. Raises a SerializationException when the class can be created
    /// neither through its meta-type nor through a factory.
    std::shared_ptr<SerializableData> clone() const;

    /// Decodes the body of a shell; costs one load of an atomic pointer for anything else.
    void touch() const
    {
        if (m_body.load(std::memory_order_acquire) != nullptr) [[unlikely]]
            touchSlow();
    }
    bool isShell() const { return m_body.load(std::memory_order_acquire) != nullptr; }

    /// Makes a new, still empty object a shell, before any other thread knows it; null ends
    /// that without decoding.
    void setBodySource(BodySource *source);
    /// Drops the content silently and makes the object a shell again, for a reload.
    ///
    /// Waits for decodes that are under way. Nobody may use the fields meanwhile.
    void becomeShell(BodySource *source);
    /// Keeps every decode of the process out as long as the lock is held, as is needed to
    /// detach a source from its shells. Recursive; taken before any lock of a database.
    static std::unique_lock<std::recursive_mutex> lockDecoding();

    /// Null for none.
    void setChangeListener(ChangeListener *listener);

protected:
    /// Appends \a field to the list; the order is the order of storage.
    void registerField(SerializableFieldBase &field);

private:
    friend class DataAccess;
    friend class ScopedOptionInhibitor;
    friend class SerializableFieldBase;

    static constexpr std::size_t sOptionCount = 4;

    friend class FieldRange;
    static SerializableFieldBase *nextField(const SerializableFieldBase &field);
    void touchSlow() const;
    void decode(BodySource &source);
    void adoptRecords();
    void resetFields();
    /// Whether this object or the one that holds it is being decoded or copied to.
    bool isFilling() const;
    void contentChanged();

    // Small members first: they share a word with the mark of the base.
    std::array<quint8, sOptionCount> m_inhibitors = {}; // how many suspend each option
    quint8 m_inhibited = 0;                             // the options with at least one
    quint8 m_fillers = 0; // decodes and copies under way: silent and writable
    std::atomic<BodySource *> m_body = nullptr;
    std::atomic<ChangeListener *> m_listener = nullptr;
    SerializableData *m_holder = nullptr; // whose field owns this record
    SerializableFieldBase *m_firstField = nullptr;
    SerializableFieldBase *m_lastField = nullptr;
};

inline void SerializableFieldBase::touch() const
{
    m_owner.touch();
}

} // namespace Tesk::Data
