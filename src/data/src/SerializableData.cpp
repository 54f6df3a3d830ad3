#include <data/SerializableData.h>

#include "DataAccess.h"

#include <data/Cbor.h>
#include <data/Document.h>
#include <data/Serialization.h>

#include <vantbase/FileUtils.h>

#include <QThread>

#include <utility>

namespace Tesk::Data {

namespace {

std::recursive_mutex &decodeMutex()
{
    static std::recursive_mutex mutex;
    return mutex;
}

// Where the object lives whose body this thread is decoding; null when it decodes none.
thread_local QThread *decodeTarget = nullptr;

class DecodeScope
{
public:
    explicit DecodeScope(QThread *target)
        : m_outer(std::exchange(decodeTarget, target))
    {}
    ~DecodeScope() { decodeTarget = m_outer; }
    DecodeScope(const DecodeScope &) = delete;
    DecodeScope &operator=(const DecodeScope &) = delete;

private:
    QThread *m_outer;
};

} // namespace

BodySource::~BodySource() = default;

ChangeListener::~ChangeListener() = default;

bool DataAccess::isDecodingOnThisThread()
{
    return decodeTarget != nullptr;
}

void DataAccess::joinDecode(SerializableData &created)
{
    if (decodeTarget && decodeTarget != created.thread())
        created.moveToThread(decodeTarget);
}

FieldRange::Iterator &FieldRange::Iterator::operator++()
{
    m_field = SerializableData::nextField(*m_field);
    return *this;
}

SerializableData::SerializableData(SerializableData *parent)
    : QObject(parent)
{}

// The fields are members of the derived class and gone by now: the list must not be walked.
SerializableData::~SerializableData() = default;

void SerializableData::onLoadedFromDisk() {}

QByteArray SerializableData::hash() const
{
    const Serialization::Document document;
    Serialization::Node root = document.root();
    Serialization::serializeToNode(root, *this);
    return VantBase::FileUtils::dataToHash(Serialization::toCbor(document));
}

void SerializableData::modelHasChanged(const FieldEvent & /*event*/) {}

void SerializableData::onCloned() {}

QStringList SerializableData::getFieldNames() const
{
    QStringList names;
    for (const SerializableFieldBase *field : fields())
        names.append(field->name());
    return names;
}

SerializableFieldBase *SerializableData::getField(const QString &name) const
{
    for (SerializableFieldBase *field : fields()) {
        if (field->name() == name)
            return field;
    }
    return nullptr;
}

void SerializableData::triggerDataChanged(const FieldEvent &event)
{
    modelHasChanged(event);
}

void SerializableData::setBodySource(BodySource *source)
{
    m_body.store(source, std::memory_order_release);
}

void SerializableData::becomeShell(BodySource *source)
{
    const auto lock = lockDecoding();
    m_body.store(nullptr, std::memory_order_relaxed);
    resetFields();
    m_body.store(source, std::memory_order_release);
}

std::unique_lock<std::recursive_mutex> SerializableData::lockDecoding()
{
    return std::unique_lock(decodeMutex());
}

void SerializableData::setChangeListener(ChangeListener *listener)
{
    m_listener.store(listener, std::memory_order_release);
}

void SerializableData::registerField(SerializableFieldBase &field)
{
    Q_ASSERT(!getField(field.name()));
    (m_lastField ? m_lastField->m_next : m_firstField) = &field;
    m_lastField = &field;
}

SerializableFieldBase *SerializableData::nextField(const SerializableFieldBase &field)
{
    return field.m_next;
}

// Two bodies may touch each other while they are decoded, from two threads in opposite order:
// with a lock for each object they would wait for one another for ever.
void SerializableData::touchSlow() const
{
    const auto lock = lockDecoding();
    BodySource *source = m_body.load(std::memory_order_relaxed);
    if (!source || m_fillers > 0) // decoded meanwhile, or by this very thread just now
        return;
    const_cast<SerializableData *>(this)->decode(*source);
}

void SerializableData::decode(BodySource &source)
{
    {
        const DecodeScope scope(thread());
        const DataAccess::FillScope filling(*this);
        try {
            source.decode(*this);
            adoptRecords();
        } catch (...) {
            resetFields();
            throw;
        }
    }
    m_body.store(nullptr, std::memory_order_release);
}

// The thread that decodes may end before the records do: their deferred deletion would then
// never be delivered.
void SerializableData::adoptRecords()
{
    if (QThread::currentThread() == thread())
        return;
    for (SerializableFieldBase *field : fields())
        field->adoptOwnerThread();
}

void SerializableData::resetFields()
{
    const DataAccess::FillScope filling(*this);
    for (SerializableFieldBase *field : fields())
        field->resetToDefault();
}

bool SerializableData::isFilling() const
{
    for (const SerializableData *data = this; data; data = data->m_holder) {
        if (data->m_fillers > 0)
            return true;
    }
    return false;
}

void SerializableData::contentChanged()
{
    if (isFilling())
        return;
    for (SerializableData *data = this; data; data = data->m_holder) {
        if (ChangeListener *listener = data->m_listener.load(std::memory_order_acquire))
            listener->objectChanged(*data);
    }
}

} // namespace Tesk::Data
