#include "RegistryModel.h"

#include <filterbase/UserDataKeys.h>

namespace FilterBaseTesting {

using namespace Tesk::FilterBase;
using Kind = ModelAsset::Kind;

std::string shown(const QByteArray &id)
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
    m_refusal = step.refusal;
    m_current = step.manager;
    m_isOnWorker = step.onWorker;
    try {
        apply(step);
    } catch (const Raised &raised) {
        m_outcome.exception = raised.text;
    }
    for (const QByteArray &reference : m_postedHides) {
        m_outcome.hides.push_back(shown(reference) + " on the main thread");
        try {
            setHidden(reference);
        } catch (const Raised &) { // the posted task's own affair
        }
    }
    m_fault.reset();
    m_refusal.reset();
    return m_outcome;
}

static bool fillsTables(Step::Kind kind)
{
    return kind == Step::Kind::Import || kind == Step::Kind::Register || kind == Step::Kind::Declare
           || kind == Step::Kind::NewManager;
}

void RegistryModel::apply(const Step &step)
{
    std::vector<QByteArray> results;
    const AssetPtr asset = resolve(step.id);
    if (m_scope && fillsTables(step.kind))
        m_scope->managers.insert(step.manager);
    switch (step.kind) {
    case Step::Kind::AddFilter:
    case Step::Kind::AddImplementation: {
        const AssetPtr made = insert(Kind::Filter, step.id, step.name, step.isInternal);
        made->variation = step.text;
        if (step.kind == Step::Kind::AddImplementation) {
            made->items[filterTypeUserDataKey] = dynamicFilterTypeUserData;
            if (!step.key.isEmpty())
                made->items[step.key] = step.text;
        }
        if (const AssetPtr older = resolve(step.other))
            setNext(*older, step.id);
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
        remove(asset->id);
        break;
    case Step::Kind::Link:
        setNext(*asset, step.other);
        break;
    case Step::Kind::Rename:
        rename(*asset, step.name);
        break;
    case Step::Kind::RecordName:
        if (asset->recordedName != step.name)
            write(*asset);
        asset->recordedName = step.name;
        break;
    case Step::Kind::SetItem:
        write(*asset);
        asset->items[step.key] = step.text;
        break;
    case Step::Kind::Show:
        write(*asset);
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
        collect(step.id);
        break;
    case Step::Kind::Uncollect:
        uncollect(step.id);
        break;
    case Step::Kind::NewManager:
        renewManagers({m_current});
        break;
    case Step::Kind::Restart:
        restart(step);
        break;
    case Step::Kind::BeginScope:
        openScope();
        break;
    case Step::Kind::SpoilScope:
        m_scope->isSpoilt = true;
        break;
    case Step::Kind::CommitScope:
        commitScope();
        break;
    case Step::Kind::LeaveScope:
        abandonScope();
        break;
    }
    for (const QByteArray &result : results)
        m_outcome.results.push_back(shown(result));
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
