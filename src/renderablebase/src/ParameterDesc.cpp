#include <renderablebase/ParameterDesc.h>

#include "ClassRegistration.h"

#include <data/Serialization.h>

#include <utility>

namespace Tesk::RenderableBase {

// Stored in user files: never rename.
static const QString sIdentifierField = QStringLiteral("identifier");
static const QString sUidField = QStringLiteral("uid");
static const QString sTypeField = QStringLiteral("type");
static const QString sDefaultField = QStringLiteral("default");
static const QString sRangeField = QStringLiteral("range");
static const QString sEnumerationField = QStringLiteral("enumeration");
static const QString sPresentationField = QStringLiteral("presentation");

const QString ParameterDesc::sTypeName = QStringLiteral("Tesk::RenderableBase::ParameterDesc");

[[maybe_unused]] static const bool sRegistered =
        registerClass<ParameterDesc>(ParameterDesc::sTypeName);

ParameterDesc::ParameterDesc(Data::SerializableData *parent)
    : Data::SerializableData(parent)
    , identifier(*this, sIdentifierField, {})
    , uid(*this, sUidField, {})
    , type(*this, sTypeField, {})
    , defaultValue(*this, sDefaultField, {})
    , range(*this, sRangeField, {})
    , enumeration(*this, sEnumerationField, {})
    , presentation(*this, sPresentationField, {})
{
    // The order of registration is the order of storage.
    registerField(identifier);
    registerField(uid);
    registerField(type);
    registerField(defaultValue);
    registerField(range);
    registerField(enumeration);
    registerField(presentation);
}

ParameterDesc::~ParameterDesc() = default;

} // namespace Tesk::RenderableBase

namespace Tesk::Data::Serialization {

namespace {

template<class T>
bool isUnset(const T &value)
{
    return value == T();
}

bool isUnset(const QVariant &value)
{
    return !value.isValid();
}

template<class T>
void writeMember(Node &node, const char *name, const T &value)
{
    if (isUnset(value))
        return;
    Node member = node.addObject(name);
    serializeToNode(member, value);
}

// The names are stored, and their order is that of storage. Range may be const.
template<class Range, class Visitor>
void visitRange(Range &range, const Visitor &visit)
{
    visit("min", range.minimum);
    visit("max", range.maximum);
    visit("softMin", range.softMinimum);
    visit("softMax", range.softMaximum);
    visit("step", range.step);
}

template<class Presentation, class Visitor>
void visitPresentation(Presentation &presentation, const Visitor &visit)
{
    visit("label", presentation.label);
    visit("group", presentation.group);
    visit("documentation", presentation.documentation);
    visit("unit", presentation.unit);
    visit("unitType", presentation.unitType);
    visit("colorSpace", presentation.colorSpace);
    visit("hint", presentation.hint);
    visit("uniform", presentation.uniform);
    visit("advanced", presentation.advanced);
}

auto memberWriter(Node &node)
{
    return [&node](const char *name, const auto &value) {
        writeMember(node, name, value);
    };
}

// What is not there stays as it is.
auto memberReader(const Node &node)
{
    return [&node](const char *name, auto &value) {
        deserializeObjectFromSubnode(node, name, value, false);
    };
}

} // namespace

void serializeToNode(Node &node, const RenderableBase::ParameterRange &range)
{
    visitRange(range, memberWriter(node));
}

void deserializeFromNode(const Node &node, RenderableBase::ParameterRange &range)
{
    RenderableBase::ParameterRange read; // whole or not at all
    visitRange(read, memberReader(node));
    range = std::move(read);
}

void serializeToNode(Node &node, const RenderableBase::ParameterEnumeration &enumeration)
{
    if (!enumeration.labels.isEmpty())
        writeMember(node, "labels", QVariant(enumeration.labels));
    if (!enumeration.values.isEmpty())
        writeMember(node, "values", QVariant(enumeration.values));
}

void deserializeFromNode(const Node &node, RenderableBase::ParameterEnumeration &enumeration)
{
    QVariant labels;
    QVariant values;
    const auto read = memberReader(node);
    read("labels", labels);
    read("values", values);
    enumeration.labels = labels.toStringList();
    enumeration.values = values.toList();
}

void serializeToNode(Node &node, const RenderableBase::ParameterPresentation &presentation)
{
    visitPresentation(presentation, memberWriter(node));
}

void deserializeFromNode(const Node &node, RenderableBase::ParameterPresentation &presentation)
{
    RenderableBase::ParameterPresentation read; // whole or not at all
    visitPresentation(read, memberReader(node));
    presentation = std::move(read);
}

} // namespace Tesk::Data::Serialization
