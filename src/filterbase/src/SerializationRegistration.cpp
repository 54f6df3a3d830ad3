#include <filterbase/SerializationRegistration.h>

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/ImplementationInfo.h>

#include <assets/Asset.h>
#include <assets/AssetDatabaseService.h>
#include <assets/Serialization.h>
#include <data/ClassRegistry.h>
#include <vantbase/SharedObject.h>

#include <QByteArray>
#include <QMetaObject>
#include <QMetaType>

#include <memory>

namespace Tesk::FilterBase::Serialization {

using Assets::AssetDatabaseService;
using Data::ClassRegistry;

// When FilterDescAsset still lived among the renderable descriptions.
static const QString sOldFilterDescName = QStringLiteral("Tesk::RenderableBase::FilterDescAsset");

constexpr int sImplementationInfoVersion = 100;
constexpr int sFilterDescVersion = 300;
constexpr int sDynamicFilterVersion = 100;

template<class T>
static int registerMetaType(const QString &className)
{
    const QByteArray name = QMetaObject::normalizedType(className.toUtf8().constData());
    const QMetaType type = QMetaType::fromType<T>();
    const int id = type.id();
    if (name != type.name())
        QMetaType::registerNormalizedTypedef(name, type);
    return id;
}

template<class T>
static std::shared_ptr<SharedObjectBase> makeAsset()
{
    using Shared = SharedObject<Assets::Asset>;
    return Shared::adopt(new T(Shared::badge(), nullptr));
}

void prepareSerialization()
{
    static bool sDone = false;
    if (sDone)
        return;

    // Records are made by the fields that hold them: no factory.
    ClassRegistry::setCurrentVersion(ImplementationInfo::sTypeName, sImplementationInfoVersion);
    registerMetaType<ImplementationInfo>(ImplementationInfo::sTypeName);

    ClassRegistry::setCurrentVersion(FilterDescAsset::sTypeName, sFilterDescVersion);
    ClassRegistry::registerFactory(registerMetaType<FilterDescAsset>(FilterDescAsset::sTypeName),
                                   &makeAsset<FilterDescAsset>);
    ClassRegistry::declareClassNameAlias(sOldFilterDescName, FilterDescAsset::sTypeName);
    ClassRegistry::declareUpdater(FilterDescAsset::sTypeName, 100, 200,
                                  &Assets::Serialization::upgrade2_3AssetDataTo3_0);
    ClassRegistry::declareUpdater(FilterDescAsset::sTypeName, 200, 300,
                                  &Assets::Serialization::updateAsset_ExternalFileUrls);

    ClassRegistry::setCurrentVersion(DynamicFilterAsset::sTypeName, sDynamicFilterVersion);
    ClassRegistry::registerFactory(
            registerMetaType<DynamicFilterAsset>(DynamicFilterAsset::sTypeName),
            &makeAsset<DynamicFilterAsset>);

    AssetDatabaseService::registerAssetType(FilterDescAsset::sTypeName,
                                            &FilterDescAsset::encodingOf);
    AssetDatabaseService::registerAssetType(DynamicFilterAsset::sTypeName,
                                            &DynamicFilterAsset::encodingOf);

    // Last: a call that raises half-way is to be repeated from the start.
    sDone = true;
}

} // namespace Tesk::FilterBase::Serialization
