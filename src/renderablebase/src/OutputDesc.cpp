#include <renderablebase/OutputDesc.h>

#include "ClassRegistration.h"

namespace Tesk::RenderableBase {

// Stored in user files: never rename.
static const QString sIdentifierField = QStringLiteral("identifier");
static const QString sValueTypeField = QStringLiteral("valueType");
static const QString sTypeField = QStringLiteral("type");
static const QString sColorField = QStringLiteral("color");
static const QString sLabelField = QStringLiteral("label");
static const QString sUsagesField = QStringLiteral("usages");

const QString OutputDesc::sTypeName = QStringLiteral("Tesk::RenderableBase::OutputDesc");

[[maybe_unused]] static const bool sRegistered = registerClass<OutputDesc>(OutputDesc::sTypeName);

OutputDesc::OutputDesc(Data::SerializableData *parent)
    : Data::SerializableData(parent)
    , identifier(*this, sIdentifierField, {})
    , valueType(*this, sValueTypeField, {})
    , type(*this, sTypeField, {})
    , color(*this, sColorField, {})
    , label(*this, sLabelField, {})
    , usages(*this, sUsagesField, {})
{
    // The order of registration is the order of storage.
    registerField(identifier);
    registerField(valueType);
    registerField(type);
    registerField(color);
    registerField(label);
    registerField(usages);
    valueType.set(ValueType::Unknown);
}

OutputDesc::~OutputDesc() = default;

bool OutputDesc::isColor() const
{
    return color.get();
}

} // namespace Tesk::RenderableBase
