#include "StepGenerator.h"

#include <filterbase/UserDataKeys.h>

#include <algorithm>
#include <utility>

namespace FilterBaseTesting {

using namespace Tesk::FilterBase;
using AssetKind = ModelAsset::Kind;
using Kind = Step::Kind;

static constexpr int sFirstSteps = 6; // fill the catalogue

static const std::vector<QString> &allNames()
{
    static const std::vector<QString> sNames{
            QStringLiteral("Blur"),
            QStringLiteral("Slope Blur"),
            QStringLiteral("Warp"),
            QStringLiteral("Fill"),
            QStringLiteral("fill"),
            QStringLiteral("\u00c4tzen"),
            QStringLiteral("\u0130nk \u1e9e"), // lower-cased, the first letter becomes two
            QStringLiteral("\u03a3\u03bf\u03c6\u03cc\u03a3"),
            QString::fromUtf8("\xf0\x90\x90\x80 Deseret"),
            QStringLiteral("A Name That Is Longer Than Any Buffer That Somebody May Have Made For "
                           "Names That Are Not So Long, And Then Some"),
            QString()};
    return sNames;
}

static const std::vector<QString> sVariations{"default_color",
                                              "default_color",
                                              "default_float",
                                              "default_float",
                                              "default_float3",
                                              "output_size",
                                              "default_color,default_float",
                                              "default_float4,mask,",
                                              "default_",
                                              "",
                                              " default_color"};
static const std::vector<QString> sAnswers{
        "default_color", "default_color", "default_float", "Default_color", "mask", "dynamic", ""};

static bool isAny(const ModelAsset & /*asset*/)
{
    return true;
}

static bool isConcrete(const ModelAsset &asset)
{
    return asset.kind == AssetKind::Filter || asset.kind == AssetKind::Bare
           || asset.kind == AssetKind::Plain;
}

static bool isImplementation(const ModelAsset &asset)
{
    const auto type = asset.items.find(filterTypeUserDataKey);
    return type != asset.items.end() && type->second == dynamicFilterTypeUserData;
}

StepGenerator::StepGenerator(unsigned int seed, const RegistryModel &model,
                             std::function<bool(const QByteArray &)> isUsable)
    : m_random(seed)
    , m_model(model)
    , m_isUsable(std::move(isUsable))
{
    for (int i = 0; i < 3; ++i)
        m_names.push_back(oneOf(allNames()));
}

bool StepGenerator::chance(unsigned int percent)
{
    return below(100) < percent;
}

template<class T>
const T &StepGenerator::oneOf(const std::vector<T> &values)
{
    return values[below(static_cast<unsigned int>(values.size()))];
}

std::vector<QByteArray> StepGenerator::allIds(const Wanted &wanted) const
{
    std::vector<QByteArray> ids;
    for (const auto &[id, asset] : m_model.assets()) {
        if (m_isUsable(id) && wanted(*asset))
            ids.push_back(id);
    }
    return ids;
}

// An empty one when there is none.
QByteArray StepGenerator::anyId(const Wanted &wanted)
{
    const std::vector<QByteArray> ids = allIds(wanted);
    return ids.empty() ? QByteArray() : oneOf(ids);
}

QByteArray StepGenerator::newId(const char *letter)
{
    return letter + QByteArray::number(++m_idCount);
}

QString StepGenerator::anyName()
{
    return inAnyCase(oneOf(m_names));
}

QString StepGenerator::inAnyCase(const QString &name)
{
    switch (below(4)) {
    case 0:
        return name.toUpper();
    case 1:
        return name.toLower();
    case 2: {
        QString mixed = name;
        for (qsizetype at = 0; at < mixed.size(); at += 2) {
            if (mixed[at].unicode() < 128)
                mixed[at] = mixed[at].toUpper();
        }
        return mixed;
    }
    default:
        return name;
    }
}

Step StepGenerator::next()
{
    Step step = make();
    const bool isWork = step.kind == Kind::Import || step.kind == Kind::Register;
    const bool isAsked = isWork || step.kind == Kind::Declare || step.kind == Kind::MakeDesc
                         || step.kind == Kind::FindDynamic || step.kind == Kind::Collect
                         || step.kind == Kind::Uncollect;
    if (isAsked && m_model.hasManager(1) && chance(40))
        step.manager = 1;
    // Another thread would not see what this one's scope has yet to store.
    if (isWork && !m_model.isInScope())
        step.onWorker = chance(8);
    if ((isWork || step.kind == Kind::FindDynamic) && chance(12))
        aim(step);
    else if ((isAsked || step.kind == Kind::CommitScope || step.kind == Kind::NewManager)
             && chance(10))
        refuse(step);
    return step;
}

Step StepGenerator::last()
{
    return {.kind = chance(50) ? Kind::CommitScope : Kind::LeaveScope};
}

Step StepGenerator::make()
{
    if (m_stepCount++ == 0)
        return {.kind = Kind::Restart};
    if (m_stepCount <= sFirstSteps)
        return add();

    if (m_model.isInScope() && chance(20))
        return endScope();
    if (!m_model.isInScope() && chance(5))
        return {.kind = Kind::BeginScope};

    const unsigned int draw = below(100);
    if (draw < 12)
        return add();
    if (draw < 20)
        return addVersion();
    if (draw < 26)
        return link();
    if (draw < 56)
        return import();
    if (draw < 67) {
        return {.kind = Kind::Register,
                .id = chance(5) ? QByteArray(chance(50) ? "gone" : "")
                                : anyId(chance(90) ? isConcrete : isAny),
                .name = anyName()};
    }
    if (draw < 70) {
        const auto isDescriptor = [](const ModelAsset &asset) {
            return asset.kind == AssetKind::Descriptor;
        };
        return {.kind = Kind::Declare, .id = chance(95) ? anyId(isDescriptor) : QByteArray()};
    }
    if (draw < 72)
        return {.kind = Kind::MakeDesc, .name = anyName()};
    if (draw < 76)
        return {.kind = Kind::FindDynamic, .id = anyId(isAny)};
    if (draw < 84) {
        const auto isRegistered = [](const ModelAsset &asset) {
            return asset.kind == AssetKind::Descriptor || asset.kind == AssetKind::Dynamic;
        };
        return {.kind = Kind::Collect,
                .id = chance(95) ? anyId(chance(90) ? Wanted(isRegistered) : Wanted(isAny))
                                 : QByteArray()};
    }
    if (draw < 86)
        return {.kind = Kind::Uncollect,
                .id = m_model.items().empty() ? QByteArray() : oneOf(m_model.items())};
    if (draw < 91)
        return restart();
    if (draw < 94)
        return {.kind = Kind::NewManager, .manager = chance(60) ? 1 : 0};
    if (draw < 97)
        return remove();

    const QByteArray id = anyId(isConcrete);
    if (id.isEmpty())
        return add();
    switch (below(4)) {
    case 0:
        return {.kind = chance(50) ? Kind::Rename : Kind::RecordName, .id = id, .name = anyName()};
    case 1: {
        const QByteArray hidden = anyId([](const ModelAsset &asset) { return asset.isHidden; });
        return hidden.isEmpty() ? import() : Step{.kind = Kind::Show, .id = hidden};
    }
    case 2:
        return {.kind = Kind::SetItem,
                .id = id,
                .key = filterTypeUserDataKey,
                .text = chance(50) ? dynamicFilterTypeUserData : QStringLiteral("dynamic")};
    default:
        return {.kind = Kind::SetItem,
                .id = id,
                .key = QStringLiteral("Category"),
                .text = oneOf<QString>({"HDRI Tools", "Mesh Tool", "mesh tool"})};
    }
}

Step StepGenerator::add()
{
    const unsigned int draw = below(100);
    if (draw < 45) {
        const bool isPlaced = chance(95);
        const QString key = chance(90) ? variationTypeUserDataKey : altVariationTypeUserDataKey;
        return {.kind = Kind::AddImplementation,
                .isInternal = chance(10),
                .id = newId("i"),
                .name = anyName(),
                .key = isPlaced ? key : QString(),
                .text = oneOf(sVariations)};
    }
    if (draw < 80) {
        return {.kind = Kind::AddFilter,
                .isInternal = chance(10),
                .id = newId("f"),
                .name = anyName(),
                .text = oneOf(sAnswers)};
    }
    if (draw < 85)
        return {.kind = Kind::AddBare, .id = newId("b"), .name = anyName()};
    if (draw < 90)
        return {.kind = Kind::AddPlain, .id = newId("p"), .name = anyName()};
    const QString name = anyName();
    const QByteArray own = "filterDesc://" + name.toLower().toUtf8();
    const bool isFree = !m_model.resolve(own);
    if (draw < 92 && isFree)
        return {.kind = Kind::AddPlain, .id = own, .name = name};
    std::vector<QByteArray> list;
    for (unsigned int count = below(4); count > 0; --count)
        list.push_back(chance(85) ? anyId(isConcrete) : QByteArray(chance(50) ? "gone" : ""));
    return {.kind = Kind::AddDescriptor,
            .id = isFree && chance(60) ? own : newId("d"),
            .ids = list,
            .name = name};
}

// What the author of an implementation does: the same name and variation, and a link.
Step StepGenerator::addVersion()
{
    const QByteArray older = anyId([](const ModelAsset &asset) {
        return asset.kind == AssetKind::Filter && asset.next.isEmpty();
    });
    if (older.isEmpty())
        return add();
    const ModelAsset &asset = *m_model.resolve(older);
    const auto variations = asset.items.find(variationTypeUserDataKey);
    if (!isImplementation(asset) || variations == asset.items.end()) {
        return {.kind = Kind::AddFilter,
                .id = newId("f"),
                .other = older,
                .name = asset.name,
                .text = chance(90) ? asset.variation : oneOf(sAnswers)};
    }
    return {.kind = Kind::AddImplementation,
            .id = newId("i"),
            .other = older,
            .name = asset.name,
            .key = variationTypeUserDataKey,
            .text = chance(80) ? variations->second : oneOf(sVariations)};
}

Step StepGenerator::link()
{
    // Links between assets of one session may form a circle.
    const auto isOfSession = [](const ModelAsset &asset) {
        return isConcrete(asset) && asset.isInternal;
    };
    const QByteArray first = chance(25) ? anyId(isOfSession) : QByteArray();
    if (!first.isEmpty())
        return {.kind = Kind::Link, .id = first, .other = anyId(isOfSession)};

    const QByteArray older = anyId(isConcrete);
    if (older.isEmpty())
        return add();
    const unsigned int draw = below(20);
    QByteArray newer = anyId([](const ModelAsset &asset) {
        return asset.kind != AssetKind::Dynamic || !asset.isInternal;
    });
    if (draw == 0)
        newer = QByteArray();
    if (draw == 1)
        newer = "gone";
    const bool isInternal = m_model.resolve(older)->isInternal;
    if (!isInternal && m_model.wouldCloseStoredCircle(older, newer))
        newer = QByteArray();
    return {.kind = Kind::Link, .id = older, .other = newer};
}

Step StepGenerator::import()
{
    Step step{.kind = Kind::Import, .ids = batch()};
    if (chance(30))
        step.name = anyName();
    return step;
}

std::vector<QByteArray> StepGenerator::batch()
{
    std::vector<QByteArray> ids;
    if (chance(50)) {
        const QString key = oneOf(m_names).toLower();
        ids = allIds([&](const ModelAsset &asset) {
            return isImplementation(asset) && asset.name.toLower() == key;
        });
        std::shuffle(ids.begin(), ids.end(), m_random);
        while (ids.size() > 3)
            ids.pop_back();
    }
    for (unsigned int count = below(4); count > 0; --count)
        ids.push_back(anyId(chance(90) ? isConcrete : isAny));
    if (chance(5))
        ids.push_back(chance(50) ? "gone" : "");
    if (!ids.empty() && chance(3))
        ids.push_back(ids.front());
    return ids;
}

Step StepGenerator::restart()
{
    Step step{.kind = Kind::Restart};
    if (chance(15)) {
        step.ids.push_back(anyId([](const ModelAsset &asset) {
            return asset.kind == AssetKind::Descriptor || asset.kind == AssetKind::Dynamic;
        }));
    }
    return step;
}

// Also what a manager has in its tables.
Step StepGenerator::remove()
{
    const QByteArray held = chance(50) ? anyId([](const ModelAsset &asset) {
        return asset.kind == AssetKind::Descriptor || asset.kind == AssetKind::Dynamic;
    })
                                       : QByteArray();
    const QByteArray id = held.isEmpty() ? anyId(isConcrete) : held;
    return id.isEmpty() ? add() : Step{.kind = Kind::Remove, .id = id};
}

Step StepGenerator::endScope()
{
    if (chance(5))
        return {.kind = Kind::SpoilScope};
    return last();
}

// Which ids an open scope is to store is known; else any may be written by the step.
void StepGenerator::refuse(Step &step)
{
    Refusal refusal{.atCommit = chance(50)};
    if (step.kind == Kind::CommitScope) {
        const std::set<QByteArray> &written = m_model.writtenInScope();
        if (written.empty())
            return;
        if (chance(50))
            refusal.id =
                    *std::next(written.begin(), below(static_cast<unsigned int>(written.size())));
    } else if (chance(50)) {
        refusal.id = anyId(isAny);
    }
    step.refusal = refusal;
}

// The database asks for categories of its own where it writes; there the first call alone is sure.
void StepGenerator::aim(Step &step)
{
    const auto isFilter = [](const ModelAsset &asset) {
        return asset.kind == AssetKind::Filter;
    };
    const QByteArray id = step.ids.empty() || chance(30) ? anyId(isFilter) : oneOf(step.ids);
    const auto asset = m_model.resolve(id);
    if (!asset || !isFilter(*asset))
        return;
    const bool isInput = step.id == id || std::count(step.ids.begin(), step.ids.end(), id) > 0;
    Fault fault{.id = id, .call = 1 + static_cast<int>(below(2))};
    switch (below(4)) {
    case 0:
        if (!isInput || step.kind == Kind::Register)
            return;
        if (!isImplementation(*asset))
            fault.call = 1;
        fault.operation = Operation::Category;
        break;
    case 1:
        fault.operation = Operation::VariationType;
        break;
    case 2:
        fault.operation = Operation::Description;
        break;
    default:
        fault.operation = Operation::Changing;
        fault.call = 1;
        break;
    }
    step.fault = fault;
}

} // namespace FilterBaseTesting
