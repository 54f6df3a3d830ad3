#include <assets/Asset.h>

#include "AssetNames.h"
#include "VersionChain.h"

#include <array>
#include <cstdint>
#include <mutex>

namespace Tesk::Assets {

// Stored in every asset's body.
static const QString sNextVersionField = QStringLiteral("nextVersion");
static const QString sDependenciesField = QStringLiteral("dependencies");

// A lock for each asset would cost every shell 40 bytes.
static std::mutex &nameMutex(const Asset &asset)
{
    static std::array<std::mutex, 64> mutexes;
    return mutexes[(reinterpret_cast<std::uintptr_t>(&asset) >> 6) % mutexes.size()];
}

QString AssetNames::get(const Asset &asset)
{
    const std::lock_guard lock(nameMutex(asset));
    return asset.m_name;
}

void AssetNames::set(Asset &asset, const QString &name)
{
    const std::lock_guard lock(nameMutex(asset));
    asset.m_name = name;
}

Asset::Asset(const SharedObjectBadge & /*badge*/, Data::SerializableData *parent)
    : Data::SerializableData(parent)
    , nextVersion(*this, sNextVersionField, Data::SerializableFieldBase::NotifyChanges)
    , dependencies(*this, sDependenciesField, Data::SerializableFieldBase::NotifyChanges)
{
    // The order of registration is the order of storage.
    registerField(nextVersion);
    registerField(dependencies);
}

Asset::~Asset() = default;

bool Asset::isValid() const
{
    return true;
}

void Asset::addExternalFileUrl(const QUrl & /*url*/) {}

void Asset::removeExternalSourceUrlIfNotLastOne(const QUrl & /*url*/) {}

std::vector<QUrl> Asset::getSourceFileUrls() const
{
    const QUrl url = getSourceFileUrl();
    return url.isEmpty() ? std::vector<QUrl>() : std::vector<QUrl>{url};
}

QString Asset::defaultThumbnailPath() const
{
    return {};
}

void Asset::updateDependenciesList() {}

QByteArray Asset::generateId() const
{
    return ownReference().id();
}

QByteArray Asset::generateIdForCache() const
{
    return generateId();
}

bool Asset::upgradeFormat()
{
    return false;
}

std::shared_ptr<Asset> Asset::getUptodateAssetInDB() const
{
    std::shared_ptr<Asset> newest = ownReference().asset();
    walkNextVersions(*this, [&newest](const AssetReference &reference) {
        if (std::shared_ptr<Asset> asset = reference.asset())
            newest = std::move(asset);
        return true;
    });
    return newest;
}

void Asset::clearApplicationInternalFileUrls() {}

void Asset::translate() {}

void Asset::cacheResults() {}

bool Asset::requiresVyrSignature() const
{
    return false;
}

void Asset::load()
{
    touch();
}

void Asset::unload() {}

QList<QString> Asset::specificStaticDebugInfo() const
{
    return {};
}

QList<QString> Asset::specificDynamicDebugInfo() const
{
    return {};
}

std::vector<AssetReference> Asset::discoverChildren() const
{
    return dependencies.values();
}

bool Asset::mapChildrenToPreviousAndNextVersions(
        const std::unordered_map<AssetReference, AssetReference> &replacements)
{
    std::vector<AssetReference> mapped = dependencies.values();
    bool changed = false;
    for (AssetReference &child : mapped) {
        const auto found = replacements.find(child);
        if (found == replacements.end() || found->second == child)
            continue;
        child = found->second;
        changed = true;
    }
    if (!changed)
        return false;
    dependencies.clear();
    for (const AssetReference &child : mapped) {
        if (!dependencies.contains(child))
            dependencies.append(child);
    }
    return true;
}

QString Asset::debugInfo() const
{
    const AssetReference own = ownReference();
    const QString id = own.isValid() ? QString::fromUtf8(own.id()) : QStringLiteral("not filed");
    return QStringLiteral("%1 \"%2\" [%3]")
            .arg(QString::fromLatin1(metaObject()->className()), AssetNames::get(*this), id);
}

} // namespace Tesk::Assets
