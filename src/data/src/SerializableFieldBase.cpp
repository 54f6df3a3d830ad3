#include <data/SerializableFieldBase.h>

#include <data/SerializableData.h>

#include <vantbase/Exception.h>
#include <vantbase/Location.h>
#include <vantbase/Logger.h>

#include <typeinfo>

namespace Tesk::Data {

namespace {

template<class Raised>
[[noreturn]] void logAndThrow(const std::string &place, const QString &message)
{
    VantBase::logger(VantBase::LogService::Data).record(VantBase::LogLevel::Error, place)
            << message;
    throw Raised(message);
}

QString describe(const SerializableFieldBase &field)
{
    return QStringLiteral("field \"%1\" of %2")
            .arg(field.name(), QLatin1StringView(field.owner().metaObject()->className()));
}

} // namespace

SerializableFieldBase::SerializableFieldBase(SerializableData &owner, const QString &name,
                                             Options options)
    : m_owner(owner)
    , m_name(name)
    , m_options(options)
{}

SerializableFieldBase::~SerializableFieldBase() = default;

void SerializableFieldBase::throwReadOnlyError() const
{
    logAndThrow<Exception::ReadOnlyException>(
            TESK_HERE,
            QStringLiteral("Cannot change the %1: it is read-only").arg(describe(*this)));
}

void SerializableFieldBase::checkWritable() const
{
    touch();
    if (hasEffectiveOption(ReadOnly) && !m_owner.isFilling())
        throwReadOnlyError();
}

void SerializableFieldBase::checkSameType(const SerializableFieldBase &other) const
{
    if (!isSameType(other))
        logAndThrow<Exception::LogicErrorException>(
                TESK_HERE, QStringLiteral("Cannot copy the %1 to the %2: they differ in type")
                                   .arg(describe(other), describe(*this)));
}

bool SerializableFieldBase::isSameType(const SerializableFieldBase &other) const
{
    return typeid(*this) == typeid(other);
}

bool SerializableFieldBase::hasEffectiveOption(OptionBase option) const
{
    return m_options.testFlag(option) && (m_owner.m_inhibited & option) == 0;
}

bool SerializableFieldBase::isHeard() const
{
    return hasEffectiveOption(NotifyChanges) && !m_owner.isFilling();
}

void SerializableFieldBase::send(FieldEvent::Phase phase, qsizetype index,
                                 const QVariant &key) const
{
    FieldEvent event;
    event.fieldName = m_name;
    event.phase = phase;
    event.index = index;
    event.notPersisted = m_options.testFlag(NotPersisted);
    event.key = key;
    m_owner.triggerDataChanged(event);
}

void SerializableFieldBase::markChanged() const
{
    m_owner.contentChanged();
}

void SerializableFieldBase::notifyChanged(bool differs, qsizetype index) const
{
    if (isNotifying())
        notifyChanged(differs, index, {});
    else if (differs)
        markChanged();
}

void SerializableFieldBase::notifyChanged(bool differs, qsizetype index, const QVariant &key) const
{
    try {
        notify(FieldEvent::Phase::Changed, index, key);
    } catch (...) {
        // The content is another one all the same: a database must not miss that.
        if (differs)
            markChanged();
        throw;
    }
    if (differs)
        markChanged();
}

} // namespace Tesk::Data
