#pragma once

#include <filterbase/filterbase_export.h>

#include <assets/AssetReference.h>
#include <data/Field.h>
#include <data/HashMap.h>
#include <data/SerializableData.h>

#include <QString>
#include <QVariant>

#include <unordered_map>

namespace Tesk::FilterBase {

/// Values by parameter uid; a uid belongs to the description that issued it.
using TweakMap = std::unordered_map<unsigned int, QVariant>;

/// Ties one variation of a dynamic filter to the asset that implements it.
///
/// The filter has one merged parameter list, the asset a list of its own. A record names the
/// asset and maps the filter's parameter uids to the asset's.
///
/// Ownership: its filter's implementation table deletes it through the event loop.
/// Threads: not thread-safe; used on the thread of its filter only.
/// Errors: throws only where a read-only field is written.
/// Persistence: field names and their order are part of the stored form.
class FILTERBASE_EXPORT ImplementationInfo : public Data::SerializableData
{
    Q_OBJECT
public:
    /// The name by which the class registry creates records when loading.
    static const QString sTypeName;

    explicit ImplementationInfo(Data::SerializableData *parent = nullptr);
    ~ImplementationInfo() override;

    /// Returns \a tweaks keyed by the implementation's uids instead of the filter's.
    ///
    /// A tweak the implementation has no parameter for is left out. Where two uids meet in one
    /// parameter a single value remains: that of the tweak which \a tweaks lists later.
    TweakMap getImplementationTweaks(const TweakMap &tweaks) const;

    Data::Field<Assets::AssetReference> implementationRef;
    Data::HashMap<unsigned int, unsigned int> paramUidCorrespondance; ///< filter uid to own uid
};

} // namespace Tesk::FilterBase
