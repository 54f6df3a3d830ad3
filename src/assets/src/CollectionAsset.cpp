#include <assets/CollectionAsset.h>

#include "AssetRecord.h"
#include "AssetTable.h"
#include "DatabaseCore.h"

#include <surfaces/Surface.h>

#include <algorithm>

namespace Tesk::Assets {

const QString CollectionAsset::sTypeName = QStringLiteral("Tesk::Assets::CollectionAsset");

CollectionAsset::CollectionAsset(const SharedObjectBadge &badge, Data::SerializableData *parent)
    : Asset(badge, parent)
{}

CollectionAsset::~CollectionAsset() = default;

const QString &CollectionAsset::typeName() const
{
    return sTypeName;
}

const QString &CollectionAsset::category() const
{
    static const QString category = QStringLiteral("collection");
    return category;
}

QUrl CollectionAsset::getSourceFileUrl() const
{
    return {};
}

bool CollectionAsset::initMetaData(Tesk::Assets::MetaData & /*metaData*/) const
{
    return false;
}

future<std::shared_ptr<Surfaces::Surface>>
CollectionAsset::getEmbeddedThumbnail(std::stop_token /*stopToken*/) const
{
    return make_ready_future(std::shared_ptr<Surfaces::Surface>());
}

std::vector<AssetReference> CollectionAsset::items() const
{
    const std::unique_lock lock = lockLoaded();
    return m_items;
}

qsizetype CollectionAsset::itemCount() const
{
    const std::unique_lock lock = lockLoaded();
    return static_cast<qsizetype>(m_items.size());
}

bool CollectionAsset::contains(const AssetReference &reference) const
{
    const std::unique_lock lock = lockLoaded();
    return itemSetLocked().contains(reference);
}

std::unique_lock<std::mutex> CollectionAsset::lockLoaded() const
{
    for (;;) {
        std::unique_lock lock(m_itemsMutex);
        if (m_itemsLoaded)
            return lock;
        lock.unlock();
        // The database reads the list under its own lock, and then comes back with it.
        const std::shared_ptr<DatabaseCore> core = DatabaseCore::of(ownReference());
        if (!core || !core->loadItems(*this))
            setItems({});
    }
}

void CollectionAsset::setItems(std::vector<AssetReference> items) const
{
    const std::lock_guard lock(m_itemsMutex);
    if (m_itemsLoaded)
        return;
    m_items = std::move(items);
    m_itemSet.reset();
    m_itemsLoaded = true;
}

// Most lists are only read from end to end: the set is made for who asks for one item.
std::unordered_set<AssetReference> &CollectionAsset::itemSetLocked() const
{
    if (!m_itemSet)
        m_itemSet.emplace(m_items.begin(), m_items.end());
    return *m_itemSet;
}

bool CollectionAsset::isLoaded() const
{
    const std::lock_guard lock(m_itemsMutex);
    return m_itemsLoaded;
}

std::vector<AssetReference> CollectionAsset::loadedItems() const
{
    const std::lock_guard lock(m_itemsMutex);
    return m_items;
}

quint64 CollectionAsset::itemsVersion() const
{
    const std::lock_guard lock(m_itemsMutex);
    return m_itemsVersion;
}

bool CollectionAsset::appendItem(const AssetReference &reference)
{
    const std::lock_guard lock(m_itemsMutex);
    if (!itemSetLocked().insert(reference).second)
        return false;
    m_items.push_back(reference);
    ++m_itemsVersion;
    return true;
}

// Gives where the item was, -1 when it was nowhere.
qsizetype CollectionAsset::removeItem(const AssetReference &reference)
{
    const std::lock_guard lock(m_itemsMutex);
    if (itemSetLocked().erase(reference) == 0)
        return -1;
    const auto found = std::find(m_items.begin(), m_items.end(), reference);
    const qsizetype index = found - m_items.begin();
    m_items.erase(found);
    ++m_itemsVersion;
    return index;
}

void CollectionAsset::insertItem(qsizetype index, const AssetReference &reference)
{
    const std::lock_guard lock(m_itemsMutex);
    if (itemSetLocked().insert(reference).second)
        m_items.insert(m_items.begin() + index, reference);
}

void CollectionAsset::forgetItems()
{
    const std::lock_guard lock(m_itemsMutex);
    m_itemsLoaded = false;
    ++m_itemsVersion;
    m_items.clear();
    m_itemSet.reset();
}

} // namespace Tesk::Assets
