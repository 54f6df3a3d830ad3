#include "Commands.h"

#include "Answer.h"
#include "CatalogueView.h"
#include "Choice.h"
#include "CommandError.h"
#include "ImplementationJson.h"
#include "NearNames.h"
#include "Session.h"
#include "Table.h"
#include "Terminal.h"

#include <filterbase/ImplementationInfo.h>
#include <renderablebase/ParameterDesc.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QUrl>

#include <optional>
#include <vector>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

namespace {

// A "PARAM=VALUE" of the user, and where it goes.
struct Setting
{
    QString identifier;
    QString value;
    unsigned int filterUid = 0;
    std::optional<unsigned int> ownUid; // nothing where the implementation has no such parameter
};

} // namespace

static Setting parse(const QString &text, const FilterView &filter)
{
    const qsizetype equals = text.indexOf(u'=');
    if (equals < 1)
        throw CommandError(WrongUse, u"--set \"%1\": expected PARAM=VALUE"_s.arg(text));
    Setting setting{text.first(equals), text.sliced(equals + 1), 0, std::nullopt};
    const auto description = filter.description();
    const auto parameter =
            description ? description->parameterByIdentifier(setting.identifier) : nullptr;
    if (parameter) {
        setting.filterUid = parameter->uid.get();
        return setting;
    }
    QStringList known;
    if (description) {
        for (const auto &each : description->parameters)
            known.append(each->identifier.get());
    }
    throw CommandError(Negative, u"\"%1\" has no parameter \"%2\".%3"_s.arg(
                                         filter.name, setting.identifier,
                                         NearNames::hint(setting.identifier, known)));
}

// Goes the way a host goes, one value at a time so that each can be told where it went.
static void translate(Setting &setting, const Choice &choice)
{
    if (choice.info == nullptr) {
        setting.ownUid = setting.filterUid;
        return;
    }
    const FilterBase::TweakMap translated =
            choice.info->getImplementationTweaks({{setting.filterUid, QVariant(setting.value)}});
    if (!translated.empty())
        setting.ownUid = translated.begin()->first;
}

static QString sourceOf(const Assets::AssetReference &reference)
{
    const std::shared_ptr<Assets::Asset> asset = reference.asset();
    return asset ? asset->getSourceFileUrl().toLocalFile() : QString();
}

static QString wayOf(const Choice &choice)
{
    switch (choice.found) {
    case Choice::Found::ByUsage:
        return u"usage"_s;
    case Choice::Found::ByType:
        return u"type"_s;
    case Choice::Found::AsOnlyOne:
        return u"only one"_s;
    case Choice::Found::Nowhere:
        break;
    }
    return u"nowhere"_s;
}

static QString nodeDefOf(const FilterView &filter, const Choice &choice)
{
    for (const ImplementationView &each : filter.implementations) {
        if (each.reference == choice.implementation)
            return each.nodeDef;
    }
    return {};
}

static void printJson(const FilterView &filter, const Choice &choice,
                      const std::vector<Setting> &settings)
{
    QJsonArray values;
    for (const Setting &each : settings)
        values.append(
                QJsonObject{{u"identifier"_s, each.identifier},
                            {u"value"_s, each.value},
                            {u"filterUid"_s, static_cast<qint64>(each.filterUid)},
                            {u"uid"_s, each.ownUid ? QJsonValue(static_cast<qint64>(*each.ownUid))
                                                   : QJsonValue(QJsonValue::Null)}});
    Answer::printJson({{u"filter"_s, filter.name},
                       {u"foundBy"_s, wayOf(choice)},
                       {u"implementation"_s, ImplementationJson::idOf(choice.implementation)},
                       {u"nodedef"_s, nodeDefOf(filter, choice)},
                       {u"source"_s, Answer::orNull(sourceOf(choice.implementation))},
                       {u"values"_s, values}});
}

static void print(const FilterView &filter, const Choice &choice,
                  const std::vector<Setting> &settings)
{
    const QString way = choice.found == Choice::Found::AsOnlyOne ? u"the only one"_s
                                                                 : u"found by "_s + wayOf(choice);
    Terminal::print(u"%1 (%2)\n%3\n"_s.arg(
            Terminal::harmless(nodeDefOf(filter, choice)), way,
            Terminal::harmless(ImplementationJson::idOf(choice.implementation))));
    const QString source = sourceOf(choice.implementation);
    if (!source.isEmpty())
        Terminal::print(u"from %1\n"_s.arg(Terminal::harmless(source)));
    if (settings.empty())
        return;
    Table table(
            {u"PARAMETER"_s, u"VALUE"_s, u"UID OF THE FILTER"_s, u"UID OF THE IMPLEMENTATION"_s});
    for (const Setting &each : settings)
        table.addRow({each.identifier, each.value, QString::number(each.filterUid),
                      each.ownUid ? QString::number(*each.ownUid) : u"none: left out"_s});
    Terminal::print(u'\n' + table.toText(Terminal::width()));
}

int runPick(const Arguments &arguments)
{
    Session session(arguments, Session::Access::Read);
    const CatalogueView view(session);
    const FilterView &filter = view.get(arguments.name);
    std::vector<Setting> settings;
    for (const QString &text : arguments.settings)
        settings.push_back(parse(text, filter));
    const Choice choice = Choice::of(filter, arguments.usage, arguments.type);
    if (choice.found == Choice::Found::Nowhere)
        throw CommandError(Negative, Choice::refusalText(filter, arguments.usage, arguments.type));
    for (Setting &each : settings)
        translate(each, choice);
    if (arguments.json)
        printJson(filter, choice, settings);
    else
        print(filter, choice, settings);
    return Done;
}

} // namespace Tesk::Command
