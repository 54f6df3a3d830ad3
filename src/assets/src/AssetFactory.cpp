#include "AssetFactory.h"

#include <assets/Asset.h>
#include <assets/CollectionAsset.h>
#include <data/ClassRegistry.h>

#include <QCoreApplication>
#include <QMetaType>
#include <QThread>

#include <map>
#include <mutex>

namespace Tesk::Assets::AssetFactory {

static constexpr int sCollectionVersion = 100;

namespace {

struct TypeList
{
    std::mutex mutex;
    // guarded by mutex
    std::map<QString, AssetEncodingOf> types; // a few: found sooner than by a hash
};

TypeList &typeList()
{
    static TypeList list;
    return list;
}

} // namespace

AssetEncoding encodedByCommitter(const Asset &)
{
    return AssetEncoding::ByCommitter;
}

AssetEncoding encodedAnywhere(const Asset &)
{
    return AssetEncoding::Anywhere;
}

void registerType(const QString &typeName, AssetEncodingOf encodingOf)
{
    TypeList &list = typeList();
    const std::lock_guard lock(list.mutex);
    list.types.insert_or_assign(typeName, encodingOf);
}

bool isType(const QString &typeName)
{
    TypeList &list = typeList();
    const std::lock_guard lock(list.mutex);
    return list.types.contains(typeName);
}

static AssetEncodingOf encodingOfType(const QString &typeName)
{
    TypeList &list = typeList();
    const std::lock_guard lock(list.mutex);
    const auto entry = list.types.find(typeName);
    return entry == list.types.end() ? encodedByCommitter : entry->second;
}

bool isEncodedAnywhere(const Asset &asset)
{
    return encodingOfType(asset.typeName())(asset) == AssetEncoding::Anywhere;
}

void registerOwnTypes()
{
    static std::once_flag once;
    std::call_once(once, [] {
        Data::ClassRegistry::setCurrentVersion(CollectionAsset::sTypeName, sCollectionVersion);
        Data::ClassRegistry::registerFactory(
                QMetaType::fromType<CollectionAsset>().id(),
                []() -> std::shared_ptr<SharedObjectBase> {
                    return SharedObject<Asset>::adopt(
                            new CollectionAsset(SharedObject<Asset>::badge(), nullptr));
                });
        registerType(CollectionAsset::sTypeName);
    });
}

std::shared_ptr<Asset> create(const QString &typeName)
{
    return Series().create(typeName);
}

std::shared_ptr<Asset> Series::create(const QString &typeName)
{
    if (!m_make || m_typeName != typeName) {
        m_make = Data::ClassRegistry::factory(typeName);
        m_typeName = typeName;
    }
    if (!m_make)
        return nullptr;
    auto asset = std::dynamic_pointer_cast<Asset>(m_make());
    if (asset)
        moveToMainThread(*asset);
    return asset;
}

void moveToMainThread(Asset &asset)
{
    const QCoreApplication *application = QCoreApplication::instance();
    if (application == nullptr || asset.thread() != QThread::currentThread()
        || asset.thread() == application->thread())
        return;
    asset.moveToThread(application->thread());
}

} // namespace Tesk::Assets::AssetFactory
