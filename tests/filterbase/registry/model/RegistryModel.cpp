#include "RegistryModel.h"

#include <filterbase/UserDataKeys.h>

#include <algorithm>
#include <set>

namespace FilterBaseTesting {

using namespace Tesk::FilterBase;
using Kind = ModelAsset::Kind;

static std::string shown(const QByteArray &id)
{
    return id.isEmpty() ? "null" : '[' + id.toStdString() + ']';
}

std::string ModelAsset::debugInfo() const
{
    static const std::map<Kind, std::string> sClasses{
            {Kind::Filter, "FilterBaseTesting::FaultyFilter"},
            {Kind::Bare, "FilterBaseTesting::BareFilter"},
            {Kind::Plain, "FilterBaseTesting::PlainAsset"},
            {Kind::Descriptor, "Tesk::FilterBase::FilterDescAsset"},
            {Kind::Dynamic, "Tesk::FilterBase::DynamicFilterAsset"}};
    return sClasses.at(kind) + " \"" + name.toStdString() + "\" [" + id.toStdString() + ']';
}

Outcome RegistryModel::run(const Step &step)
{
    m_outcome = {};
    m_postedHides.clear();
    m_fault = step.fault;
    m_current = step.manager;
    m_isOnWorker = step.onWorker;
    try {
        apply(step);
    } catch (const Raised &raised) {
        m_outcome.exception = raised.text;
    }
    m_outcome.hides.insert(m_outcome.hides.end(), m_postedHides.begin(), m_postedHides.end());
    m_fault.reset();
    return m_outcome;
}

void RegistryModel::apply(const Step &step)
{
    std::vector<QByteArray> results;
    const AssetPtr asset = resolve(step.id);
    switch (step.kind) {
    case Step::Kind::AddFilter:
    case Step::Kind::AddImplementation: {
        const AssetPtr made = insert(Kind::Filter, step.id, step.name);
        made->isInternal = step.isInternal;
        made->variation = step.text;
        if (step.kind == Step::Kind::AddImplementation) {
            made->items[filterTypeUserDataKey] = dynamicFilterTypeUserData;
            if (!step.key.isEmpty())
                made->items[step.key] = step.text;
        }
        if (const AssetPtr older = resolve(step.other))
            older->next = step.id;
        break;
    }
    case Step::Kind::AddBare:
        insert(Kind::Bare, step.id, step.name);
        break;
    case Step::Kind::AddPlain:
        insert(Kind::Plain, step.id, step.name);
        break;
    case Step::Kind::AddDescriptor:
        insert(Kind::Descriptor, step.id, step.name)->list = step.ids;
        break;
    case Step::Kind::Remove:
        m_assets.erase(asset->id);
        break;
    case Step::Kind::Link:
        asset->next = step.other;
        break;
    case Step::Kind::Rename:
        asset->name = step.name;
        asset->recordedName = step.name;
        break;
    case Step::Kind::RecordName:
        asset->recordedName = step.name;
        break;
    case Step::Kind::SetItem:
        asset->items[step.key] = step.text;
        break;
    case Step::Kind::Show:
        asset->isHidden = false;
        break;
    case Step::Kind::Import:
        results = createOrUpdateFilters(step.ids, step.name);
        break;
    case Step::Kind::Register:
        results.push_back(registerFilterDesc(step.name, step.id));
        break;
    case Step::Kind::Declare:
        declare(asset);
        break;
    case Step::Kind::MakeDesc:
        results.push_back(getOrCreateFilterDesc(step.name)->id);
        break;
    case Step::Kind::FindDynamic:
        results.push_back(findDynamicFor(step.id));
        break;
    case Step::Kind::Collect:
        if (std::find(m_items.begin(), m_items.end(), step.id) == m_items.end())
            m_items.push_back(step.id);
        break;
    case Step::Kind::Uncollect:
        std::erase(m_items, step.id);
        break;
    case Step::Kind::NewManager:
        m_managers.at(static_cast<std::size_t>(m_current)).emplace();
        start(manager());
        break;
    case Step::Kind::Restart:
        restart(step);
        break;
    }
    for (const QByteArray &result : results)
        m_outcome.results.push_back(shown(result));
}

// --- the host

RegistryModel::AssetPtr RegistryModel::resolve(const QByteArray &id) const
{
    const auto former = m_formerIds.find(id);
    const auto found = m_assets.find(former == m_formerIds.end() ? id : former->second);
    return found == m_assets.end() ? nullptr : found->second;
}

RegistryModel::AssetPtr RegistryModel::insert(Kind kind, const QByteArray &id, const QString &name)
{
    const auto made = std::make_shared<ModelAsset>();
    made->kind = kind;
    made->id = id;
    made->name = name;
    made->recordedName = name;
    m_assets[id] = made;
    return made;
}

RegistryModel::AssetPtr RegistryModel::makeInternalDynamicFilter()
{
    const QByteArray number = QByteArray::number(++m_internalCount).rightJustified(12, '0');
    const AssetPtr made =
            insert(Kind::Dynamic, "{00000000-0000-0000-0000-" + number + '}', QString());
    made->isInternal = true;
    return made;
}

// Internal assets are gone, and a name that was only recorded is the asset's own now.
void RegistryModel::restart(const Step &step)
{
    for (const QByteArray &id : step.ids) {
        if (const AssetPtr asset = resolve(id))
            m_assets.erase(asset->id);
    }
    std::erase_if(m_assets, [](const auto &entry) { return entry.second->isInternal; });
    m_formerIds.clear();
    for (const auto &[id, asset] : m_assets)
        asset->name = asset->recordedName;
    m_managers = {};
    m_current = 0;
    m_managers[0].emplace();
    start(manager());
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
    if (const AssetPtr asset = resolve(reference))
        asset->isHidden = true;
    const bool isOnMainThread = isPosted || !m_isOnWorker;
    auto &hides = isPosted ? m_postedHides : m_outcome.hides;
    hides.push_back(shown(reference) + (isOnMainThread ? " on the main thread" : " on a worker"));
}

void RegistryModel::log(const std::string &function, const std::string &text, int service,
                        int level)
{
    m_outcome.records.push_back(std::to_string(service) + '/' + std::to_string(level) + ' '
                                + function + ": " + text);
}

// --- what can be seen

std::string RegistryModel::lookUp(int which, const QString &name) const
{
    const Manager &tables = *m_managers.at(static_cast<std::size_t>(which));
    const QString key = name.toLower();
    const auto dynamic = tables.dynamicFilters.find(key);
    const auto declared = tables.descriptors.find(key);
    const bool isDynamic = dynamic != tables.dynamicFilters.end();
    const bool isDeclared = declared != tables.descriptors.end();
    const AssetPtr descriptor = resolve("filterDesc://" + key.toUtf8());

    std::string line = name.toStdString() + ": ";
    line += shown(isDynamic ? dynamic->second->id : QByteArray());
    line += ' ' + shown(descriptor ? descriptor->id : QByteArray()) + " declared";
    if (isDeclared) {
        for (const QByteArray &entry : declared->second->list)
            line += ' ' + shown(entry);
    }
    line += " variations";
    if (isDeclared) {
        for (const QByteArray &entry : declared->second->list)
            line += ' ' + shown(entry);
    } else if (isDynamic) {
        line += ' ' + shown(dynamic->second->id);
    }
    return line;
}

std::string RegistryModel::content(const QByteArray &id) const
{
    const AssetPtr asset = resolve(id);
    if (!asset)
        return "nothing under " + id.toStdString();
    std::string line = asset->debugInfo() + " recorded \"" + asset->recordedName.toStdString()
                       + "\" next " + shown(asset->next);
    line += asset->isInternal ? " internal" : "";
    line += asset->isHidden ? " hidden" : "";
    line += asset->isDescribed ? " described" : "";
    for (const QByteArray &entry : asset->list)
        line += " lists " + shown(entry);
    for (const auto &[key, implementation] : asset->types)
        line += " type \"" + key.toStdString() + "\" " + shown(implementation);
    for (const auto &[key, implementation] : asset->usages)
        line += " usage \"" + key.toStdString() + "\" " + shown(implementation);
    return line;
}

std::string RegistryModel::collection() const
{
    std::string line = "collected";
    for (const QByteArray &item : m_items)
        line += ' ' + shown(item);
    return line;
}

} // namespace FilterBaseTesting
