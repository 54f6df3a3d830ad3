#include <data/FieldValue.h>
#include <data/SerializableData.h>

#include "DataAccess.h"

#include <data/ClassRegistry.h>
#include <data/RaiseSerialization.h>

#include <vantbase/Location.h>
#include <vantbase/Ownership.h>
#include <vantbase/SharedObject.h>

#include <QMetaType>
#include <QThread>

#include <unordered_map>
#include <utility>

namespace Tesk::Data {

namespace {

using Copies = std::unordered_map<const SerializableData *, std::shared_ptr<SerializableData>>;

// The copies of one clone so far, so that what is shared inside stays shared; null outside.
thread_local Copies *currentCopies = nullptr;

class CopiesScope
{
public:
    explicit CopiesScope(Copies *copies)
        : m_outer(std::exchange(currentCopies, copies))
    {}
    ~CopiesScope() { currentCopies = m_outer; }
    CopiesScope(const CopiesScope &) = delete;
    CopiesScope &operator=(const CopiesScope &) = delete;

private:
    Copies *m_outer;
};

SerializableData *createUnshared(const SerializableData &original)
{
    auto *copy = static_cast<SerializableData *>(original.metaObject()->metaType().create());
    if (copy) {
        VantBase::forbidStealingOwnership(copy);
        DataAccess::joinDecode(*copy);
    }
    return copy;
}

std::shared_ptr<SerializableData> createShared(const SerializableData &original)
{
    if (SerializableData *copy = createUnshared(original))
        return std::shared_ptr<SerializableData>(copy, QObjectDeleteLater());
    const QString className = QString::fromLatin1(original.metaObject()->className());
    auto copy = std::dynamic_pointer_cast<SerializableData>(ClassRegistry::createShared(className));
    if (!copy)
        raiseSerialization(TESK_HERE,
                           QStringLiteral("Cannot clone an object of class \"%1\": its factory "
                                          "makes no serializable objects")
                                   .arg(className));
    return copy;
}

void copyFields(const SerializableData &original, SerializableData &copy)
{
    original.touch();
    {
        const DataAccess::FillScope filling(copy);
        auto target = copy.fields().begin();
        for (const SerializableFieldBase *field : original.fields()) {
            Q_ASSERT(target != copy.fields().end());
            (*target)->copyFrom(*field);
            ++target;
        }
    }
    const CopiesScope outside(nullptr);
    copy.onCloned();
}

std::shared_ptr<SerializableData> cloneShared(const SerializableData &original)
{
    std::shared_ptr<SerializableData> &copy = (*currentCopies)[&original];
    if (copy)
        return copy;
    copy = createShared(original);
    std::shared_ptr<SerializableData> result = copy; // the map may grow meanwhile
    copyFields(original, *result);
    return result;
}

} // namespace

std::shared_ptr<SerializableData> SerializableData::clone() const
{
    Copies copies;
    const CopiesScope scope(&copies);
    return cloneShared(*this);
}

namespace FieldValue {

SerializableData *cloneRecord(const SerializableData &record)
{
    Copies copies;
    const CopiesScope scope(currentCopies ? currentCopies : &copies);
    std::unique_ptr<SerializableData, QObjectDeleteLater> copy(createUnshared(record));
    if (!copy)
        raiseSerialization(TESK_HERE,
                           QStringLiteral("Cannot clone a record of class \"%1\": it has "
                                          "no default constructor")
                                   .arg(QLatin1StringView(record.metaObject()->className())));
    copyFields(record, *copy);
    return copy.release();
}

std::shared_ptr<SerializableData> shareOrClone(const std::shared_ptr<SerializableData> &object)
{
    return object && currentCopies ? cloneShared(*object) : object;
}

void setHolder(SerializableData &record, SerializableData *holder)
{
    DataAccess::setHolder(record, holder);
}

void moveToThreadOf(const SerializableData &owner, SerializableData &record)
{
    QThread *thread = owner.thread();
    if (record.parent() || QThread::currentThread() == thread)
        return;
    record.moveToThread(thread);
    for (SerializableFieldBase *field : record.fields())
        field->adoptOwnerThread();
}

} // namespace FieldValue

} // namespace Tesk::Data
