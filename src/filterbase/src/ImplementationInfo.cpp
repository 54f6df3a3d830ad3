#include <filterbase/ImplementationInfo.h>

namespace Tesk::FilterBase {

// Stored in user files: never rename, not even to correct "Correspondance".
static const QString sImplementationRefField = QStringLiteral("implementationRef");
static const QString sParamUidField = QStringLiteral("paramUidCorrespondance");

const QString ImplementationInfo::sTypeName =
        QStringLiteral("Tesk::FilterBase::ImplementationInfo");

ImplementationInfo::ImplementationInfo(Data::SerializableData *parent)
    : Data::SerializableData(parent)
    , implementationRef(*this, sImplementationRefField, {})
    , paramUidCorrespondance(*this, sParamUidField, {})
{
    // The order of registration is the order of storage.
    registerField(implementationRef);
    registerField(paramUidCorrespondance);
}

ImplementationInfo::~ImplementationInfo() = default;

TweakMap ImplementationInfo::getImplementationTweaks(const TweakMap &tweaks) const
{
    TweakMap translated;
    for (const auto &[filterUid, value] : tweaks) {
        const auto entry = paramUidCorrespondance.find(filterUid);
        if (entry != paramUidCorrespondance.end())
            translated.insert_or_assign(entry->second, value);
    }
    return translated;
}

} // namespace Tesk::FilterBase
