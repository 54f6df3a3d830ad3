#include "Commands.h"

#include "Answer.h"
#include "CatalogueView.h"
#include "ImplementationJson.h"
#include "Session.h"
#include "Table.h"
#include "Terminal.h"

#include <assets/MetaData.h>
#include <assets/MetaDataControl.h>
#include <filterbase/ImplementationInfo.h>
#include <renderablebase/ParameterDesc.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

using RenderableBase::ParameterDesc;

static QString textOf(const QVariant &value)
{
    if (!value.isValid())
        return u"-"_s;
    if (value.typeId() != QMetaType::QVariantList)
        return value.toString();
    QStringList parts;
    for (const QVariant &part : value.toList())
        parts.append(part.toString());
    return parts.join(u", "_s);
}

static QString rangeOf(const ParameterDesc &parameter)
{
    const RenderableBase::ParameterRange range = parameter.range.get();
    const QVariant low = range.minimum.isValid() ? range.minimum : range.softMinimum;
    const QVariant high = range.maximum.isValid() ? range.maximum : range.softMaximum;
    if (!low.isValid() && !high.isValid())
        return u"-"_s;
    return textOf(low) + u".."_s + textOf(high);
}

// Which implementations take the merged parameter, and under which uid of their own.
static QStringList takersOf(const FilterView &filter, const ParameterDesc &parameter)
{
    QStringList takers;
    const auto add = [&](const std::vector<KeyView> &keys) {
        for (const KeyView &each : keys) {
            const auto own = each.info->paramUidCorrespondance.find(parameter.uid.get());
            if (own == each.info->paramUidCorrespondance.end())
                continue;
            const QString text = u"%1:%2"_s.arg(each.nodeDef, QString::number(own->second));
            if (!takers.contains(text))
                takers.append(text);
        }
    };
    add(filter.types());
    add(filter.usages());
    if (const ImplementationView *head = filter.onlyHead(); head && !filter.isDynamic())
        takers.append(u"%1:%2"_s.arg(head->nodeDef, QString::number(parameter.uid.get())));
    return takers;
}

static QStringList sourcesOf(const FilterView &filter)
{
    QStringList sources;
    for (const ImplementationView &each : filter.implementations) {
        const QString source =
                each.asset ? each.asset->getSourceFileUrl().toLocalFile() : QString();
        if (!source.isEmpty() && !sources.contains(source))
            sources.append(source);
    }
    return sources;
}

static void printKeys(const QString &heading, const std::vector<KeyView> &keys)
{
    if (keys.empty())
        return;
    Table table({heading, u"IMPLEMENTATION"_s});
    for (const KeyView &each : keys)
        table.addRow({each.key, each.nodeDef});
    Terminal::print(u'\n' + table.toText(Terminal::width()));
}

static void printParameters(const FilterView &filter)
{
    const auto description = filter.description();
    if (!description || description->parameters.empty())
        return;
    Table table({u"PARAMETER"_s, u"TYPE"_s, u"DEFAULT"_s, u"RANGE"_s, u"UID"_s, u"TAKEN BY"_s});
    for (const auto &parameter : description->parameters)
        table.addRow({parameter->identifier.get(), parameter->type.get(),
                      textOf(parameter->defaultValue.get()), rangeOf(*parameter),
                      QString::number(parameter->uid.get()),
                      takersOf(filter, *parameter).join(u' ')});
    Terminal::print(u'\n' + table.toText(Terminal::width()));
}

static void printImplementations(const FilterView &filter)
{
    Table table({u"NODEDEF"_s, u"VERSION"_s, u"STATE"_s, u"VARIATION TYPE"_s, u"DOCUMENTATION"_s});
    for (const ImplementationView &each : filter.implementations) {
        const NodeLibrary::NodeDef nodeDef =
                each.asset ? each.asset->definition.get() : NodeLibrary::NodeDef();
        table.addRow({each.nodeDef, nodeDef.version.isEmpty() ? u"-"_s : nodeDef.version,
                      each.isHead ? u"current"_s : u"superseded"_s,
                      each.asset ? each.asset->variationText.get() : QString(),
                      nodeDef.attributes.value(NodeLibrary::AttributeName::Doc)});
    }
    Terminal::print(u'\n' + table.toText(Terminal::width()));
}

static void printMetaData(const FilterView &filter)
{
    const Assets::MetaData metaData = Assets::MetaDataControl::getMetaData(filter.reference);
    if (metaData.empty())
        return;
    Table table({u"METADATA"_s, u"VALUE"_s});
    for (const auto &[key, item] : metaData)
        table.addRow({key, textOf(item.value)});
    Terminal::print(u'\n' + table.toText(Terminal::width()));
}

static void print(const FilterView &filter)
{
    Terminal::print(u"%1  %2 filter%3\n%4\n"_s.arg(
            Terminal::bold(Terminal::harmless(filter.name)),
            filter.isDynamic() ? u"dynamic"_s : u"static"_s,
            filter.isHidden ? u", hidden"_s : QString(),
            Terminal::harmless(ImplementationJson::idOf(filter.reference))));
    for (const QString &source : sourcesOf(filter))
        Terminal::print(u"from %1\n"_s.arg(Terminal::harmless(source)));
    printImplementations(filter);
    printKeys(u"TYPE"_s, filter.types());
    printKeys(u"USAGE"_s, filter.usages());
    printParameters(filter);
    printMetaData(filter);
}

static QJsonObject toJson(const FilterView &filter)
{
    QJsonObject object = ImplementationJson::ofFilter(filter);
    object.insert(u"sources"_s, Answer::toArray(sourcesOf(filter)));
    QJsonObject metaData;
    for (const auto &[key, item] : Assets::MetaDataControl::getMetaData(filter.reference))
        metaData.insert(key, QJsonValue::fromVariant(item.value));
    object.insert(u"metadata"_s, metaData);
    return object;
}

int runShow(const Arguments &arguments)
{
    Session session(arguments, Session::Access::Read);
    const CatalogueView view(session);
    const FilterView &filter = view.get(arguments.name);
    if (arguments.json)
        Answer::printJson({{u"filter"_s, toJson(filter)}});
    else
        print(filter);
    return Done;
}

} // namespace Tesk::Command
