#include "StandIns.h"

#include <data/ClassRegistry.h>
#include <data/Node.h>
#include <data/Serialization.h>

#include <vantbase/Ownership.h>

#include <utility>

namespace Tesk::Data {

namespace Serialization {

void serializeToNode(Node &node, const Reference &reference)
{
    node.setValue(reference.id);
}

void deserializeFromNode(const Node &node, Reference &reference)
{
    reference.id = node.toBytes();
}

} // namespace Serialization

void Listening::modelHasChanged(const FieldEvent &event)
{
    std::string text = event.phase == FieldEvent::Phase::AboutToChange ? "before " : "after ";
    text += event.fieldName.toStdString();
    if (event.index >= 0)
        text += ' ' + std::to_string(event.index);
    if (event.key.isValid())
        text += " [" + event.key.toString().toStdString() + ']';
    heard.push_back(text);
    events.push_back(event);
    if (onEvent)
        onEvent(event);
}

void Listening::onLoadedFromDisk()
{
    ++timesLoaded;
    if (onLoaded)
        onLoaded();
}

void Listening::onCloned()
{
    ++timesCloned;
}

std::vector<std::string> Listening::takeHeard()
{
    events.clear();
    return std::exchange(heard, {});
}

const QString Record::sTypeName = QStringLiteral("Tesk::Data::Record");

Record::Record(SerializableData *parent)
    : Listening(parent)
    , implementationRef(*this, QStringLiteral("implementationRef"), {})
    , paramUidCorrespondance(*this, QStringLiteral("paramUidCorrespondance"),
                             SerializableFieldBase::NotifyChanges)
{
    registerField(implementationRef);
    registerField(paramUidCorrespondance);
}

Record::~Record() = default;

RecordPointer makeRecord(const QByteArray &id)
{
    RecordPointer record(new Record);
    VantBase::forbidStealingOwnership(record.get());
    record->implementationRef.set(Reference{id});
    return record;
}

Parameter::Parameter(SerializableData *parent)
    : Listening(parent)
    , identifier(*this, QStringLiteral("identifier"), SerializableFieldBase::NotifyChanges)
    , uid(*this, QStringLiteral("uid"), {})
{
    registerField(identifier);
    registerField(uid);
}

Parameter::~Parameter() = default;

std::shared_ptr<Parameter> makeParameter(const QString &identifier, unsigned int uid)
{
    const std::shared_ptr<Parameter> parameter(new Parameter, QObjectDeleteLater());
    parameter->identifier.set(identifier);
    parameter->uid.set(uid);
    return parameter;
}

Description::Description(SerializableData *parent)
    : Listening(parent)
    , parameters(*this, QStringLiteral("parameters"), {})
    , first(*this, QStringLiteral("first"), {})
{
    registerField(parameters);
    registerField(first);
}

Description::~Description() = default;

Owner::Owner(SerializableData *parent)
    : Owner(SerializableFieldBase::Options(SerializableFieldBase::NotifyChanges))
{
    setParent(parent);
}

Owner::Owner(SerializableFieldBase::Options options)
    : types(*this, QStringLiteral("types"), options)
    , numbers(*this, QStringLiteral("numbers"), options)
    , ioDesc(*this, QStringLiteral("ioDesc"), options)
    , reference(*this, QStringLiteral("reference"), options)
    , count(*this, QStringLiteral("count"), options)
    , implementations(*this, QStringLiteral("implementations"), options)
{
    registerField(types);
    registerField(numbers);
    registerField(ioDesc);
    registerField(reference);
    registerField(count);
    registerField(implementations);
}

Owner::~Owner() = default;

NeedsArgument::NeedsArgument(int /*argument*/)
    : SerializableData(nullptr)
{}

NeedsArgument::~NeedsArgument() = default;

std::shared_ptr<FactoryMade> FactoryMade::make()
{
    return adopt(new FactoryMade(badge()));
}

FactoryMade::FactoryMade(const SharedObjectBadge & /*badge*/)
    : number(*this, QStringLiteral("number"), {})
{
    registerField(number);
}

FactoryMade::~FactoryMade() = default;

void registerStandIns()
{
    qRegisterMetaType<Record>("Tesk::Data::Record");
    qRegisterMetaType<Parameter>("Tesk::Data::Parameter");
    qRegisterMetaType<Description>("Tesk::Data::Description");
    qRegisterMetaType<Owner>("Tesk::Data::Owner");
    qRegisterMetaType<NeedsArgument>("Tesk::Data::NeedsArgument");
    for (const char *name : {"Record", "Parameter", "Description", "Owner", "NeedsArgument"})
        ClassRegistry::setCurrentVersion(
                QStringLiteral("Tesk::Data::%1").arg(QLatin1StringView(name)), 100);
}

void CountingListener::objectChanged(SerializableData &object)
{
    changed.push_back(&object);
}

} // namespace Tesk::Data
