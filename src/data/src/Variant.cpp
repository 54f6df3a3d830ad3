#include <data/Serialization.h>

#include <data/RaiseSerialization.h>

#include <vantbase/Location.h>
#include <vantbase/Raise.h>

#include <QMetaType>

#include <array>

namespace Tesk::Data::Serialization {

namespace {

constexpr const char *sTypeAttribute = "type";
constexpr const char *sValueName = "value";
constexpr const char *sItemsName = "items";
constexpr const char *sItemName = "Variant";
constexpr const char *sInvalidType = "Invalid";
constexpr const char *sListType = "QVariantList";

template<class T>
void write(Node &node, const QVariant &variant)
{
    serializeToNode(node, *static_cast<const T *>(variant.constData()));
}

template<class T>
void read(const Node &node, void *variant)
{
    T value = T();
    deserializeFromNode(node, value);
    *static_cast<QVariant *>(variant) = QVariant::fromValue(value);
}

struct VariantType
{
    int id;
    const char *name; // stored: never change one
    void (*write)(Node &node, const QVariant &variant);
    NodeReader read;
};

template<class T>
constexpr VariantType variantType(const char *name)
{
    return {QMetaTypeId2<T>::MetaType, name, write<T>, read<T>};
}

constexpr std::array sVariantTypes = {
        variantType<bool>("bool"),
        variantType<int>("int"),
        variantType<uint>("uint"),
        variantType<qlonglong>("qlonglong"),
        variantType<qulonglong>("qulonglong"),
        variantType<float>("float"),
        variantType<double>("double"),
        variantType<QString>("QString"),
        variantType<QByteArray>("QByteArray"),
        variantType<QUrl>("QUrl"),
        variantType<QStringList>("QStringList"),
};

void writeList(Node &node, const QVariantList &list)
{
    node.setAttribute(sTypeAttribute, sListType);
    ArrayNode items = node.addArray(sItemsName, sItemName, list.size());
    for (const QVariant &element : list) {
        Node item = items.append();
        writeVariant(item, element);
    }
}

QVariantList readList(const Node &node)
{
    const ArrayNode items = node.findArray(sItemsName, sItemName);
    if (items.isNull())
        VantBase::raiseNotFound(
                TESK_HERE, QStringLiteral("Node not found: %1").arg(QLatin1StringView(sItemsName)));
    QVariantList list;
    for (const Node item : items)
        list.append(readVariant(item));
    return list;
}

} // namespace

void writeVariant(Node &node, const QVariant &value)
{
    if (!value.isValid()) {
        node.setAttribute(sTypeAttribute, sInvalidType);
        return;
    }
    if (value.typeId() == QMetaType::QVariantList) {
        writeList(node, value.toList());
        return;
    }
    for (const VariantType &type : sVariantTypes) {
        if (type.id != value.typeId())
            continue;
        node.setAttribute(sTypeAttribute, type.name);
        Node valueNode = node.addObject(sValueName);
        type.write(valueNode, value);
        return;
    }
    raiseSerialization(TESK_HERE, QStringLiteral("Cannot store a value of type \"%1\"")
                                          .arg(QLatin1StringView(value.typeName())));
}

QVariant readVariant(const Node &node)
{
    const QString typeName = node.attribute(sTypeAttribute, QString());
    if (typeName == QLatin1StringView(sInvalidType))
        return {};
    if (typeName == QLatin1StringView(sListType))
        return readList(node);
    for (const VariantType &type : sVariantTypes) {
        if (typeName != QLatin1StringView(type.name))
            continue;
        QVariant value;
        deserializeObjectFromSubnode(node, sValueName, true, type.read, &value);
        return value;
    }
    raiseSerialization(TESK_HERE,
                       QStringLiteral("Cannot read a value of type \"%1\": the type is unknown")
                               .arg(typeName));
}

} // namespace Tesk::Data::Serialization
