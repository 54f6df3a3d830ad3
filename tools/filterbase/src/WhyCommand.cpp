#include "Commands.h"

#include "Answer.h"
#include "CatalogueView.h"
#include "Choice.h"
#include "HidingRules.h"
#include "ImplementationJson.h"
#include "NearNames.h"
#include "Session.h"
#include "Terminal.h"

#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

static void explainKeys(const FilterView &filter, const QString &map, const QString &wanted,
                        const std::vector<KeyView> &keys, QStringList &steps)
{
    if (wanted.isEmpty()) {
        steps.append(u"no %1 was asked for"_s.arg(map));
        return;
    }
    const auto found = std::find_if(keys.begin(), keys.end(),
                                    [&](const KeyView &each) { return each.key == wanted; });
    if (found != keys.end())
        steps.append(u"%1 \"%2\": %3"_s.arg(map, wanted, found->nodeDef));
    else
        steps.append(u"%1 \"%2\": not among the %3 of \"%4\""_s.arg(
                map, wanted, Answer::counted(static_cast<qint64>(keys.size()), map), filter.name));
}

// Why an implementation stands under no key of its type.
static QString refusalOf(const FilterView &filter, const ImplementationView &implementation)
{
    const QString &name = implementation.nodeDef;
    if (!implementation.isHead)
        return u"%1 is superseded by a later version and not registered"_s.arg(name);
    if (!implementation.asset)
        return {};
    const NodeLibrary::NodeDef nodeDef = implementation.asset->definition.get();
    if (!implementation.asset->variationText.get().startsWith("nodedef:"_L1))
        return {};
    const QString reached =
            u"found by usage \"%1\" only"_s.arg(implementation.asset->variationText.get());
    if (!nodeDef.target.isEmpty())
        return u"%1 is made for the target \"%2\": %3"_s.arg(name, nodeDef.target, reached);
    for (const ImplementationView &each : filter.implementations) {
        const bool isRival = each.isHead && each.asset && each.nodeDef != name
                             && !each.asset->variationText.get().startsWith("nodedef:"_L1)
                             && each.asset->definition.get().outputType() == nodeDef.outputType();
        if (isRival && each.asset->definition.get().version == nodeDef.version)
            return u"%1 comes after %2, which has the keys of \"%3\" already: %4"_s.arg(
                    name, each.nodeDef, nodeDef.outputType(), reached);
        if (isRival)
            return u"%1 has a version above the default one, that of %2: %3"_s.arg(
                    name, each.nodeDef, reached);
    }
    return u"%1 found the keys of \"%2\" taken: %3"_s.arg(name, nodeDef.outputType(), reached);
}

static QStringList explainFound(const FilterView &filter, const CatalogueView &view,
                                const Arguments &arguments, const Choice &choice)
{
    QStringList steps;
    steps.append(u"the name \"%1\" has the key \"%2\", under which the collection has a %3 "
                 "filter"_s.arg(arguments.name, filter.key,
                                filter.isDynamic() ? u"dynamic"_s : u"static"_s));
    if (filter.isHidden) {
        const QString reason = HidingRules::reasonFor(filter, view);
        steps.append(u"it is hidden: "_s + (reason.isEmpty() ? u"somebody hid it"_s : reason));
    }
    for (const FilterView &each : view.filters()) {
        if (each.key == filter.key && &each != &filter)
            steps.append(
                    u"the static filter of the same name is %1; the dynamic one is preferred"_s.arg(
                            each.isHidden ? u"hidden"_s : u"shown"_s));
    }
    if (filter.isDynamic()) {
        explainKeys(filter, u"usage"_s, arguments.usage, filter.usages(), steps);
        if (choice.found != Choice::Found::ByUsage)
            explainKeys(filter, u"type"_s, arguments.type, filter.types(), steps);
        else
            steps.append(u"the usage wins; the type is not looked up"_s);
    }
    for (const ImplementationView &each : filter.implementations) {
        const QString refusal = refusalOf(filter, each);
        if (!refusal.isEmpty())
            steps.append(refusal);
    }
    return steps;
}

static QString conclusionOf(const FilterView &filter, const Choice &choice, bool isAsked)
{
    if (!isAsked && filter.isDynamic())
        return u"it depends on the usage and the type; there are "_s + Choice::keysText(filter);
    if (choice.found != Choice::Found::Nowhere)
        return ImplementationJson::idOf(choice.implementation);
    return u"the empty fallback: no implementation; there are "_s + Choice::keysText(filter);
}

static QStringList explainMissing(Session &session, const CatalogueView &view, const QString &name)
{
    QStringList steps{u"the collection has no filter of the key \"%1\""_s.arg(name.toLower())};
    for (const FilterView &filter : view.filters()) {
        for (const ImplementationView &each : filter.implementations) {
            if (each.nodeDef == name)
                steps.append(u"it is a nodedef of the filter \"%1\""_s.arg(filter.name));
        }
    }
    const auto assets = session.database().findByName(name);
    if (!assets.empty())
        steps.append(u"the database keeps %1 of that name, from before the filter left the "
                     "collection"_s.arg(
                             Answer::counted(static_cast<qint64>(assets.size()), u"asset"_s)));
    const QStringList near = NearNames::find(name, view.names());
    if (!near.isEmpty())
        steps.append(u"near to it: "_s + near.join(u", "_s));
    return steps;
}

static void print(const Arguments &arguments, const QStringList &steps, const QString &conclusion)
{
    if (arguments.json) {
        Answer::printJson({{u"name"_s, arguments.name},
                           {u"usage"_s, Answer::orNull(arguments.usage)},
                           {u"type"_s, Answer::orNull(arguments.type)},
                           {u"steps"_s, Answer::toArray(steps)},
                           {u"result"_s, Answer::orNull(conclusion)}});
        return;
    }
    int number = 0;
    for (const QString &step : steps)
        Terminal::printWrapped(u"%1. %2"_s.arg(QString::number(++number), step), u"   "_s);
    if (!conclusion.isEmpty())
        Terminal::printWrapped(u"=> "_s + conclusion, u"   "_s);
}

int runWhy(const Arguments &arguments)
{
    Session session(arguments, Session::Access::Read);
    const CatalogueView view(session);
    const FilterView *filter = view.find(arguments.name);
    if (filter == nullptr) {
        print(arguments, explainMissing(session, view, arguments.name), {});
        return Negative;
    }
    const Choice choice = Choice::of(*filter, arguments.usage, arguments.type);
    const bool isAsked = !arguments.usage.isEmpty() || !arguments.type.isEmpty();
    print(arguments, explainFound(*filter, view, arguments, choice),
          conclusionOf(*filter, choice, isAsked));
    return isAsked && choice.found == Choice::Found::Nowhere ? Negative : Done;
}

} // namespace Tesk::Command
