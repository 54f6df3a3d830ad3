// The part of the model that is the asset database.

#include "RegistryModel.h"

#include <algorithm>
#include <utility>

namespace FilterBaseTesting {

using Kind = ModelAsset::Kind;

static const QByteArray sCollectionId = "collection://lorimetFilters";

RegistryModel::AssetPtr RegistryModel::resolve(const QByteArray &id) const
{
    const auto former = m_formerIds.find(id);
    const auto found = m_assets.find(former == m_formerIds.end() ? id : former->second);
    return found == m_assets.end() ? nullptr : found->second;
}

RegistryModel::AssetPtr RegistryModel::insert(Kind kind, const QByteArray &id, const QString &name,
                                              bool isInternal)
{
    if (!isInternal)
        writeId(id);
    const auto made = std::make_shared<ModelAsset>();
    made->kind = kind;
    made->id = id;
    made->name = name;
    made->recordedName = name;
    made->isInternal = isInternal;
    m_assets[id] = made;
    return made;
}

RegistryModel::AssetPtr RegistryModel::makeInternalDynamicFilter()
{
    const QByteArray number = QByteArray::number(++m_internalCount).rightJustified(12, '0');
    return insert(Kind::Dynamic, "{00000000-0000-0000-0000-" + number + '}', QString(), true);
}

void RegistryModel::makePersistent(const AssetPtr &asset, const QByteArray &id)
{
    writeId(id);
    m_assets.erase(asset->id);
    m_formerIds[asset->id] = id;
    asset->id = id;
    asset->isInternal = false;
    m_assets[id] = asset;
}

void RegistryModel::remove(const QByteArray &id)
{
    const AssetPtr removed = m_assets.at(id);
    write(*removed);
    // What only the open scope knew needs not be stored at all.
    if (m_scope && !m_scope->assets.contains(id))
        m_scope->written.erase(id);
    m_assets.erase(id);
    std::erase_if(m_formerIds, [&id](const auto &former) { return former.second == id; });
}

void RegistryModel::rename(ModelAsset &asset, const QString &name)
{
    if (asset.recordedName != name)
        write(asset);
    asset.name = name;
    asset.recordedName = name;
}

void RegistryModel::setNext(ModelAsset &asset, const QByteArray &next)
{
    if (asset.next == next)
        return;
    write(asset);
    asset.next = next;
}

void RegistryModel::setList(ModelAsset &descriptor, const std::vector<QByteArray> &list)
{
    if (descriptor.list == list)
        return;
    write(descriptor);
    descriptor.list = list;
}

void RegistryModel::collect(const QByteArray &item)
{
    if (std::find(m_items.begin(), m_items.end(), item) != m_items.end())
        return;
    writeId(sCollectionId);
    m_items.push_back(item);
}

void RegistryModel::uncollect(const QByteArray &item)
{
    if (std::find(m_items.begin(), m_items.end(), item) == m_items.end())
        return;
    writeId(sCollectionId);
    std::erase(m_items, item);
}

// Internal assets are gone, and a name that was only recorded is the asset's own now.
void RegistryModel::restart(const Step &step)
{
    for (const QByteArray &id : step.ids) {
        if (const AssetPtr asset = resolve(id))
            remove(asset->id);
    }
    if (m_scope) {
        m_scope->managers.clear();
        abandonScope();
    }
    std::erase_if(m_assets, [](const auto &entry) { return entry.second->isInternal; });
    m_formerIds.clear();
    for (const auto &[id, asset] : m_assets)
        asset->name = asset->recordedName;
    m_managers = {};
    renewManagers({0});
}

// --- writes and scopes

// Internal assets are not stored, nor those that were removed and that somebody still holds.
void RegistryModel::write(const ModelAsset &asset)
{
    const auto filed = m_assets.find(asset.id);
    if (filed != m_assets.end() && filed->second.get() == &asset && !asset.isInternal)
        writeId(asset.id);
}

bool RegistryModel::refuses(const QByteArray &id) const
{
    return m_refusal && (m_refusal->id.isEmpty() || m_refusal->id == id);
}

void RegistryModel::writeId(const QByteArray &id)
{
    if (m_scope) {
        m_scope->written.insert(id);
    } else if (refuses(id)) {
        m_refusal.reset();
        throw Raised{"StoreError: The disk is full"};
    }
}

void RegistryModel::openScope()
{
    m_scope = Scope{};
    m_scope->assets = m_assets;
    m_scope->formerIds = m_formerIds;
    m_scope->items = m_items;
    for (const auto &[id, asset] : m_assets)
        m_scope->states.emplace(asset, *asset);
}

void RegistryModel::commitScope()
{
    const std::set<QByteArray> &written = m_scope->written;
    const bool isRefused = std::any_of(written.begin(), written.end(),
                                       [this](const QByteArray &id) { return refuses(id); });
    if (!m_scope->isSpoilt && !isRefused) {
        m_scope.reset();
        return;
    }
    const bool isSpoilt = m_scope->isSpoilt;
    m_refusal.reset();
    abandonScope();
    throw Raised{isSpoilt ? "RuntimeErrorException: Cannot commit the batch: a scope inside it was "
                            "left without commit"
                          : "StoreError: The disk is full"};
}

// Everything is as before, but for the fields of internal assets: no state of them is stored.
void RegistryModel::abandonScope()
{
    const Scope scope = *std::exchange(m_scope, std::nullopt);
    m_assets = scope.assets;
    m_formerIds = scope.formerIds;
    m_items = scope.items;
    for (const auto &[asset, before] : scope.states) {
        const ModelAsset left = std::exchange(*asset, before);
        if (!before.isInternal)
            continue;
        asset->next = left.next;
        asset->types = left.types;
        asset->usages = left.usages;
        asset->isDescribed = left.isDescribed;
    }
    renewManagers(scope.managers);
}

void RegistryModel::renewManagers(const std::set<int> &managers)
{
    for (const int renewed : managers) {
        m_current = renewed;
        auto &place = m_managers.at(static_cast<std::size_t>(renewed));
        place.emplace();
        try {
            start(*place);
        } catch (const Raised &) {
            place.reset();
            throw;
        }
    }
}

std::string RegistryModel::describe(const QByteArray &reference) const
{
    if (reference.isEmpty())
        return "<null reference>";
    const AssetPtr asset = resolve(reference);
    const std::string name = asset ? asset->name.toStdString() : std::string();
    return (name.empty() ? name : '"' + name + "\" ") + '[' + reference.toStdString() + ']';
}

bool RegistryModel::isNewVersion(const AssetPtr &asset, const QByteArray &candidate) const
{
    if (!asset || candidate.isEmpty() || asset->id == candidate)
        return false;
    std::set<QByteArray> met{asset->id};
    for (QByteArray next = asset->next; !next.isEmpty() && met.insert(next).second;) {
        if (next == candidate)
            return true;
        const AssetPtr following = resolve(next);
        if (!following)
            return false;
        next = following->next;
    }
    return false;
}

bool RegistryModel::wouldCloseStoredCircle(const QByteArray &older, const QByteArray &newer) const
{
    std::set<QByteArray> met;
    for (QByteArray id = newer; !id.isEmpty() && met.insert(id).second;) {
        if (id == older)
            return true;
        const AssetPtr asset = resolve(id);
        if (!asset || asset->isInternal)
            return false;
        id = asset->next;
    }
    return false;
}

void RegistryModel::ask(const AssetPtr &asset, Operation operation)
{
    if (m_fault && m_fault->id == asset->id && m_fault->operation == operation
        && --m_fault->call == 0)
        throw Raised{"InjectedFault: " + asset->id.toStdString() + " does not answer"};
}

void RegistryModel::hide(const QByteArray &reference, bool isPosted)
{
    if (isPosted) {
        m_postedHides.push_back(reference);
        return;
    }
    m_outcome.hides.push_back(shown(reference)
                              + (m_isOnWorker ? " on a worker" : " on the main thread"));
    setHidden(reference);
}

void RegistryModel::setHidden(const QByteArray &reference)
{
    const AssetPtr asset = resolve(reference);
    if (!asset || asset->isHidden)
        return;
    write(*asset);
    asset->isHidden = true;
}

void RegistryModel::log(const std::string &function, const std::string &text, int service,
                        int level)
{
    m_outcome.records.push_back(std::to_string(service) + '/' + std::to_string(level) + ' '
                                + function + ": " + text);
}

} // namespace FilterBaseTesting
