#include "StoreModel.h"

#include <assets/AssetCursor.h>

#include <QUrl>

#include <algorithm>
#include <set>
#include <sstream>

namespace Tesk::Assets {

using Code = StoreError::Code;
using Lines = std::vector<std::string>;

[[noreturn]] static void raise(Code code)
{
    throw StoreError(code, QStringLiteral("of the model"));
}

qint64 StoreModel::generation()
{
    if (!m_isGenerationOpen)
        ++m_state.generation;
    m_isGenerationOpen = true;
    return m_state.generation;
}

StoreModel::Asset &StoreModel::require(const QByteArray &id)
{
    const auto found = m_state.assets.find(id);
    if (found == m_state.assets.end())
        raise(Code::NoSuchAsset);
    return found->second;
}

qint64 StoreModel::revisionOf(const QByteArray &id) const
{
    const auto found = m_state.assets.find(id);
    return found == m_state.assets.end() ? 0 : found->second.row.revision;
}

bool StoreModel::leadsTo(QByteArray from, const QByteArray &to) const
{
    std::set<QByteArray> met;
    while (met.insert(from).second) {
        if (from == to)
            return true;
        const auto found = m_state.assets.find(from);
        if (found == m_state.assets.end())
            return false;
        from = found->second.nextVersion;
    }
    return false;
}

std::vector<qint64> StoreModel::write(const std::vector<AssetWrite> &assets)
{
    std::vector<qint64> revisions;
    for (const AssetWrite &write : assets) {
        const QByteArray &id = write.row.id;
        if (write.expectedRevision && *write.expectedRevision != revisionOf(id))
            raise(Code::Changed);
        const bool isNew = m_state.assets.count(id) == 0;
        int order = 0;
        for (const auto &[other, asset] : m_state.assets)
            order = std::max(order, asset.order);
        Asset &asset = m_state.assets[id];
        if (isNew)
            asset.order = order + 1;
        const quint32 flags = isNew ? write.row.flags : asset.row.flags;
        asset.row = write.row;
        asset.row.flags = flags;
        asset.row.revision = asset.changed = generation();
        m_state.removed.erase(id);
        if (write.body)
            asset.body = write.body;
        if (write.nextVersion) {
            asset.nextVersion.clear();
            if (!write.nextVersion->isEmpty() && leadsTo(*write.nextVersion, id))
                raise(Code::VersionCycle);
            asset.nextVersion = *write.nextVersion;
        }
        if (write.dependencies)
            asset.dependencies = *write.dependencies;
        if (write.metaData) {
            asset.metaData.clear();
            for (const MetaRow &row : *write.metaData)
                asset.metaData[row.key] = row;
        }
        revisions.push_back(asset.row.revision);
    }
    return revisions;
}

qint64 StoreModel::remove(const std::vector<AssetRemoval> &assets)
{
    qint64 count = 0;
    for (const AssetRemoval &removal : assets) {
        if (removal.expectedRevision && *removal.expectedRevision != revisionOf(removal.id))
            raise(Code::Changed);
        if (m_state.assets.erase(removal.id) == 0)
            continue;
        m_state.removed[removal.id] = generation();
        ++count;
    }
    return count;
}

std::vector<qint64> StoreModel::setNames(const std::vector<NameWrite> &names)
{
    std::vector<qint64> revisions;
    for (const NameWrite &write : names) {
        Asset &asset = require(write.id);
        if (asset.row.name != write.name) {
            asset.row.name = write.name;
            asset.row.revision = asset.changed = generation();
        }
        revisions.push_back(asset.row.revision);
    }
    return revisions;
}

qint64 StoreModel::setFlags(const std::vector<QByteArray> &ids, quint32 mask, quint32 flags)
{
    qint64 count = 0;
    for (const QByteArray &id : ids) {
        if (m_state.assets.count(id) == 0)
            continue;
        Asset &asset = require(id);
        const quint32 after = (asset.row.flags & ~mask) | (flags & mask);
        if (after == asset.row.flags)
            continue;
        asset.row.flags = after;
        asset.changed = generation();
        ++count;
    }
    return count;
}

qint64 StoreModel::setMetaData(const std::vector<MetaWrite> &items)
{
    qint64 count = 0;
    for (const MetaWrite &write : items) {
        Asset &asset = require(write.id);
        const auto found = asset.metaData.find(write.item.key);
        if (found != asset.metaData.end() && found->second == write.item
            && found->second.value.metaType() == write.item.value.metaType())
            continue;
        asset.metaData[write.item.key] = write.item;
        asset.changed = generation();
        ++count;
    }
    return count;
}

qint64 StoreModel::removeMetaData(const std::vector<QByteArray> &ids, const QString &key)
{
    qint64 count = 0;
    for (const QByteArray &id : ids) {
        if (m_state.assets.count(id) == 0 || require(id).metaData.erase(key) == 0)
            continue;
        require(id).changed = generation();
        ++count;
    }
    return count;
}

qint64 StoreModel::append(const QByteArray &collection, const std::vector<QByteArray> &ids)
{
    Asset &asset = require(collection);
    qint64 count = 0;
    for (const QByteArray &id : ids) {
        if (std::find(asset.items.begin(), asset.items.end(), id) != asset.items.end())
            continue;
        asset.items.push_back(id);
        asset.changed = generation();
        ++count;
    }
    return count;
}

qint64 StoreModel::removeItems(const QByteArray &collection, const std::vector<QByteArray> &ids)
{
    if (m_state.assets.count(collection) == 0)
        return 0;
    Asset &asset = require(collection);
    qint64 count = 0;
    for (const QByteArray &id : ids) {
        const auto found = std::find(asset.items.begin(), asset.items.end(), id);
        if (found == asset.items.end())
            continue;
        asset.items.erase(found);
        asset.changed = generation();
        ++count;
    }
    return count;
}

void StoreModel::setThumbnails(const std::vector<ThumbnailWrite> &thumbnails)
{
    for (const ThumbnailWrite &write : thumbnails) {
        Asset &asset = require(write.id);
        const auto wanted = write.data.isEmpty() ? std::nullopt : std::optional(write.data);
        if (asset.thumbnail == wanted)
            continue;
        asset.thumbnail = wanted;
        asset.changed = generation();
    }
}

void StoreModel::begin()
{
    if (m_before)
        raise(Code::Misuse);
    m_before = m_state;
}

void StoreModel::commit()
{
    if (!m_before)
        raise(Code::Misuse);
    m_before.reset();
    m_isGenerationOpen = false;
}

void StoreModel::rollback()
{
    if (!m_before)
        raise(Code::Misuse);
    m_state = *m_before;
    m_before.reset();
    m_isGenerationOpen = false;
}

// --- the dump

template<class... Parts>
static std::string line(const Parts &...parts)
{
    std::ostringstream stream;
    const auto write = [&stream](const auto &part) {
        using Part = std::decay_t<decltype(part)>;
        if constexpr (std::is_same_v<Part, QByteArray>)
            stream << part.toPercentEncoding().toStdString() << ' ';
        else if constexpr (std::is_same_v<Part, QString>)
            stream << '"' << part.toStdString() << "\" ";
        else
            stream << part << ' ';
    };
    (write(parts), ...);
    return stream.str();
}

static std::string rowLine(const AssetRow &row)
{
    return line("asset", row.id, row.className, row.classVersion, row.name, row.category, row.flags,
                row.revision);
}

static std::string metaLine(const QByteArray &id, const MetaRow &row)
{
    return line("meta", id, row.key, row.type, row.accessibility, row.value.typeName(),
                row.value.toString());
}

static std::string itemLine(const QByteArray &collection, const CatalogueRow &row)
{
    return line("item", collection, row.id, row.exists, row.className, row.name, row.flags);
}

std::vector<const StoreModel::Asset *> StoreModel::inOrder() const
{
    std::vector<const Asset *> assets;
    for (const auto &[id, asset] : m_state.assets)
        assets.push_back(&asset);
    std::sort(assets.begin(), assets.end(),
              [](const Asset *left, const Asset *right) { return left->order < right->order; });
    return assets;
}

std::vector<std::string> StoreModel::dump(const std::vector<QByteArray> &ids) const
{
    Lines lines{line("generation", m_state.generation)};
    const std::vector<const Asset *> assets = inOrder();
    for (const Asset *asset : assets)
        lines.push_back(rowLine(asset->row));
    for (const QByteArray &id : ids) {
        const auto found = m_state.assets.find(id);
        const Asset none;
        const Asset &asset = found == m_state.assets.end() ? none : found->second;
        if (asset.body)
            lines.push_back(line("body", id, asset.body->encoding, asset.body->data));
        for (const auto &[key, row] : asset.metaData)
            lines.push_back(metaLine(id, row));
        lines.push_back(line("next", id, asset.nextVersion));
        for (const DependencyRow &row : asset.dependencies)
            lines.push_back(line("dependency", id, row.id, row.role));
        if (asset.thumbnail)
            lines.push_back(line("thumbnail", id, *asset.thumbnail));
        for (const QByteArray &item : asset.items) {
            const auto target = m_state.assets.find(item);
            CatalogueRow row{item, false, {}, {}, 0};
            if (target != m_state.assets.end())
                row = {item, true, target->second.row.className, target->second.row.name,
                       target->second.row.flags};
            lines.push_back(itemLine(id, row));
        }
        for (const Asset *other : assets) {
            if (other->nextVersion == id)
                lines.push_back(line("previous", id, other->row.id));
            if (std::any_of(other->dependencies.begin(), other->dependencies.end(),
                            [&id](const DependencyRow &row) { return row.id == id; }))
                lines.push_back(line("dependent", id, other->row.id));
            if (std::find(other->items.begin(), other->items.end(), id) != other->items.end())
                lines.push_back(line("listed", id, other->row.id));
        }
    }
    std::map<std::pair<qint64, QByteArray>, std::string> changes;
    for (const Asset *asset : assets)
        changes[{asset->changed, asset->row.id}] =
                line("changed", asset->row.id, false, asset->row.revision);
    for (const auto &[id, generation] : m_state.removed)
        changes[{generation, id}] = line("changed", id, true, 0);
    for (const auto &[key, text] : changes)
        lines.push_back(text);
    return lines;
}

std::vector<std::string> dump(const Store &store, const std::vector<QByteArray> &ids)
{
    const Store::ReadBurst burst(store);
    Lines lines{line("generation", store.generation())};
    AssetCursor cursor(store, {}, 3);
    while (const AssetRow *const row = cursor.next())
        lines.push_back(rowLine(*row));
    const auto bodies = store.load(ids);
    const auto metaData = store.metaData(ids);
    const auto next = store.nextVersions(ids);
    const auto dependencies = store.dependencies(ids);
    const auto thumbnails = store.thumbnails(ids);
    const std::vector<QByteArray> all = [&] {
        std::vector<QByteArray> found;
        AssetCursor again(store, {}, 100);
        while (const AssetRow *const row = again.next())
            found.push_back(row->id);
        return found;
    }();
    for (std::size_t index = 0; index < ids.size(); ++index) {
        const QByteArray &id = ids[index];
        if (bodies[index] && bodies[index]->body)
            lines.push_back(
                    line("body", id, bodies[index]->body->encoding, bodies[index]->body->data));
        for (const MetaRow &row : metaData[index])
            lines.push_back(metaLine(id, row));
        lines.push_back(line("next", id, next[index]));
        for (const DependencyRow &row : dependencies[index])
            lines.push_back(line("dependency", id, row.id, row.role));
        if (thumbnails[index])
            lines.push_back(line("thumbnail", id, *thumbnails[index]));
        for (const CatalogueRow &row : store.scanCollection(id))
            lines.push_back(itemLine(id, row));
        const auto previous = store.previousVersions(id);
        const auto dependents = store.dependents(id);
        const auto collections = store.collectionsOf(id);
        const auto has = [](const std::vector<QByteArray> &list, const QByteArray &what) {
            return std::find(list.begin(), list.end(), what) != list.end();
        };
        for (const QByteArray &other : all) {
            if (has(previous, other))
                lines.push_back(line("previous", id, other));
            if (has(dependents, other))
                lines.push_back(line("dependent", id, other));
            if (has(collections, other))
                lines.push_back(line("listed", id, other));
        }
    }
    for (const ChangeRow &row : store.changesSince(0).changes)
        lines.push_back(line("changed", row.id, row.removed, row.revision));
    return lines;
}

} // namespace Tesk::Assets
