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
void writeMember(Node &node, const char *name, const T &value)
{
    if (value == T())
        return;
    Node member = node.addObject(name);
    serializeToNode(member, value);
}

// What is not there stays as it is.
template<class T>
void readMember(const Node &node, const char *name, T &value)
{
    deserializeObjectFromSubnode(node, name, value, false);
}

} // namespace

void serializeToNode(Node &node, const RenderableBase::ParameterRange &range)
{
    writeMember(node, "min", range.minimum);
    writeMember(node, "max", range.maximum);
    writeMember(node, "softMin", range.softMinimum);
    writeMember(node, "softMax", range.softMaximum);
    writeMember(node, "step", range.step);
}

void deserializeFromNode(const Node &node, RenderableBase::ParameterRange &range)
{
    RenderableBase::ParameterRange read; // whole or not at all
    readMember(node, "min", read.minimum);
    readMember(node, "max", read.maximum);
    readMember(node, "softMin", read.softMinimum);
    readMember(node, "softMax", read.softMaximum);
    readMember(node, "step", read.step);
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
    readMember(node, "labels", labels);
    readMember(node, "values", values);
    enumeration.labels = labels.toStringList();
    enumeration.values = values.toList();
}

void serializeToNode(Node &node, const RenderableBase::ParameterPresentation &presentation)
{
    writeMember(node, "label", presentation.label);
    writeMember(node, "group", presentation.group);
    writeMember(node, "documentation", presentation.documentation);
    writeMember(node, "unit", presentation.unit);
    writeMember(node, "unitType", presentation.unitType);
    writeMember(node, "colorSpace", presentation.colorSpace);
    writeMember(node, "hint", presentation.hint);
    writeMember(node, "uniform", presentation.uniform);
    writeMember(node, "advanced", presentation.advanced);
}

void deserializeFromNode(const Node &node, RenderableBase::ParameterPresentation &presentation)
{
    RenderableBase::ParameterPresentation read; // whole or not at all
    readMember(node, "label", read.label);
    readMember(node, "group", read.group);
    readMember(node, "documentation", read.documentation);
    readMember(node, "unit", read.unit);
    readMember(node, "unitType", read.unitType);
    readMember(node, "colorSpace", read.colorSpace);
    readMember(node, "hint", read.hint);
    readMember(node, "uniform", read.uniform);
    readMember(node, "advanced", read.advanced);
    presentation = std::move(read);
}

} // namespace Tesk::Data::Serialization
