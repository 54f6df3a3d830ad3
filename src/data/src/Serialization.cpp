#include <data/Serialization.h>

#include "DataAccess.h"
#include "KnownClasses.h"
#include "NodeAccess.h"

#include <data/ClassRegistry.h>
#include <data/Document.h>
#include <data/RaiseSerialization.h>
#include <data/ScopedOptionInhibitor.h>

#include <vantbase/Exception.h>
#include <vantbase/Location.h>
#include <vantbase/Ownership.h>
#include <vantbase/Raise.h>

#include <optional>

namespace Tesk::Data::Serialization {

namespace {

constexpr const char *sNullAttribute = "nullptr";
constexpr const char *sFieldsName = "Fields";
constexpr const char *sStringItemName = "String";

void readFields(const Node &fieldsNode, SerializableData &object)
{
    const ScopedOptionInhibitor writable(object, SerializableFieldBase::ReadOnly);
    for (SerializableFieldBase *field : object.fields()) {
        if (field->options().testFlag(SerializableFieldBase::NotPersisted))
            field->resetToDefault();
        else
            field->deserialize(fieldsNode);
    }
}

NodeName classNameOf(const SerializableData &object)
{
    return QLatin1StringView(object.metaObject()->className());
}

// Throws where the class is unknown or cannot be made.
SerializableData *newInstance(const Node &node)
{
    const KnownClass *known = KnownClasses::find(NodeAccess::classInfo(node).text());
    void *made = known && known->version ? known->type.create() : nullptr;
    if (!made)
        return ClassRegistry::newInstance(node.className());
    auto *object = static_cast<SerializableData *>(made);
    VantBase::forbidStealingOwnership(object);
    return object;
}

} // namespace

qint64 readSigned(const Node &node, qint64 lowest, qint64 highest)
{
    const qint64 value = node.toInt();
    if (value < lowest || value > highest)
        raiseSerialization(TESK_HERE,
                           QStringLiteral("The number %1 is out of range: expected %2 to %3")
                                   .arg(QString::number(value), QString::number(lowest),
                                        QString::number(highest)));
    return value;
}

quint64 readUnsigned(const Node &node, quint64 highest)
{
    const quint64 value = node.toUInt();
    if (value > highest)
        raiseSerialization(TESK_HERE,
                           QStringLiteral("The number %1 is out of range: expected 0 to %2")
                                   .arg(QString::number(value), QString::number(highest)));
    return value;
}

void serializeToNode(Node &node, const QString &value)
{
    node.setValue(value);
}

void deserializeFromNode(const Node &node, QString &value)
{
    value = node.toText();
}

void serializeToNode(Node &node, const QByteArray &value)
{
    node.setValue(value);
}

void deserializeFromNode(const Node &node, QByteArray &value)
{
    value = node.toBytes();
}

void serializeToNode(Node &node, const QUrl &value)
{
    node.setValue(QString::fromLatin1(value.toEncoded()));
}

void deserializeFromNode(const Node &node, QUrl &value)
{
    value = QUrl::fromEncoded(node.toText().toUtf8());
}

void serializeToNode(Node &node, const QStringList &value)
{
    ArrayNode array = node.addArray("items", sStringItemName, value.size());
    for (const QString &text : value)
        array.append().setValue(text);
}

void deserializeFromNode(const Node &node, QStringList &value)
{
    const ArrayNode array = node.findArray("items", sStringItemName);
    if (array.isNull())
        VantBase::raiseNotFound(TESK_HERE, QStringLiteral("Node not found: %1").arg("items"));
    QStringList read;
    for (const Node item : array)
        read.append(item.toText());
    value = std::move(read);
}

void serializeToNode(Node &node, const SerializableData &object)
{
    object.touch();
    const NodeName className = classNameOf(object);
    const KnownClass *known = KnownClasses::find(className.utf8());
    NodeAccess::setClassInfo(node, className.utf8(), known ? known->version.value_or(0) : 0);
    Node fieldsNode = node.addObject(sFieldsName);
    for (const SerializableFieldBase *field : object.fields()) {
        if (!field->options().testFlag(SerializableFieldBase::NotPersisted))
            field->serialize(fieldsNode);
    }
}

void serializeToNode(Node &node, const SerializableData *object)
{
    if (object)
        serializeToNode(node, *object);
    else
        node.setAttribute(sNullAttribute, true);
}

void deserializeFromNode(const Node &node, SerializableData &object)
{
    object.touch();
    Node current = node;
    std::optional<Document> upgraded; // what is read stays as it is, others may read it too
    if (node.hasClassInfo() && ClassRegistry::needsUpgrade(node)) {
        current = upgraded.emplace().root();
        current.copyFrom(node);
        ClassRegistry::upgrade(current);
    }
    if (NodeAccess::classInfo(current).text() != classNameOf(object).utf8())
        current.checkClassInfo(QString::fromLatin1(object.metaObject()->className()));
    const Node fieldsNode = current.findObject(sFieldsName);
    if (fieldsNode.isNull())
        VantBase::raiseNotFound(TESK_HERE,
                                QStringLiteral("Malformed file structure: no Fields attribute"));
    try {
        readFields(fieldsNode, object);
    } catch (Exception::Data::SerializationException &error) {
        error.addTrace(sFieldsName);
        throw;
    }
    object.onLoadedFromDisk();
}

SerializableData *newObject(const Node &node, const QMetaObject &expected)
{
    if (node.attribute(sNullAttribute, false))
        return nullptr;
    std::unique_ptr<SerializableData> object(newInstance(node));
    if (!object->metaObject()->inherits(&expected))
        raiseSerialization(TESK_HERE,
                           QStringLiteral("Found an object of class \"%1\": expected %2")
                                   .arg(node.className(), QLatin1StringView(expected.className())));
    DataAccess::joinDecode(*object);
    return object.release();
}

void fillObject(const Node &node, SerializableData &object)
{
    std::optional<DataAccess::FillScope> silent;
    if (DataAccess::isDecodingOnThisThread())
        silent.emplace(object);
    deserializeFromNode(node, object);
}

bool deserializeObjectFromSubnode(const Node &parent, const NodeName &name, bool required,
                                  NodeReader read, void *value)
{
    const Node node = parent.findObject(name);
    if (node.isNull()) {
        if (!required)
            return false;
        const std::string_view missing = name.utf8();
        VantBase::raiseNotFound(
                TESK_HERE, QStringLiteral("Node not found: %1")
                                   .arg(QUtf8StringView(missing.data(), qsizetype(missing.size()))
                                                .toString()));
    }
    try {
        read(node, value);
    } catch (Exception::Data::SerializationException &error) {
        error.addTrace(std::string(name.utf8()));
        throw;
    }
    return true;
}

} // namespace Tesk::Data::Serialization
