#include "Commands.h"

#include "Answer.h"
#include "CatalogueView.h"
#include "NearNames.h"
#include "Session.h"
#include "Table.h"
#include "Terminal.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

// Without * and ? a pattern is any part of the name.
static QRegularExpression expressionOf(const QString &pattern)
{
    const bool isWildcard = pattern.contains(u'*') || pattern.contains(u'?');
    const QString text = isWildcard ? QRegularExpression::wildcardToRegularExpression(
                                 pattern, QRegularExpression::UnanchoredWildcardConversion)
                                    : QRegularExpression::escape(pattern);
    return QRegularExpression(isWildcard ? QRegularExpression::anchoredPattern(text) : text,
                              QRegularExpression::CaseInsensitiveOption);
}

static qsizetype variationCount(const FilterView &filter)
{
    if (filter.isDynamic())
        return filter.dynamic->types.size() + filter.dynamic->usages.size();
    return filter.descriptor->implementations.size();
}

static qsizetype parameterCount(const FilterView &filter)
{
    const auto description = filter.description();
    return description ? description->parameters.size() : 0;
}

static QJsonObject entryToJson(const FilterView &filter)
{
    return {{u"name"_s, filter.name},
            {u"key"_s, filter.key},
            {u"kind"_s, filter.isDynamic() ? u"dynamic"_s : u"static"_s},
            {u"variations"_s, variationCount(filter)},
            {u"parameters"_s, parameterCount(filter)},
            {u"hidden"_s, filter.isHidden}};
}

static void print(const std::vector<const FilterView *> &filters)
{
    Table table({u"NAME"_s, u"KIND"_s, u"VARIATIONS"_s, u"PARAMETERS"_s, u"HIDDEN"_s});
    for (const FilterView *filter : filters)
        table.addRow({filter->name, filter->isDynamic() ? u"dynamic"_s : u"static"_s,
                      QString::number(variationCount(*filter)),
                      QString::number(parameterCount(*filter)),
                      filter->isHidden ? u"hidden"_s : u"-"_s});
    Terminal::print(table.toText(Terminal::width()));
}

int runList(const Arguments &arguments)
{
    Session session(arguments, Session::Access::Read);
    const CatalogueView view(session);
    const QRegularExpression expression = expressionOf(arguments.name);
    std::vector<const FilterView *> filters;
    for (const FilterView &filter : view.filters()) {
        if (arguments.name.isEmpty() || expression.match(filter.name).hasMatch())
            filters.push_back(&filter);
    }

    if (arguments.json) {
        QJsonArray array;
        for (const FilterView *filter : filters)
            array.append(entryToJson(*filter));
        Answer::printJson({{u"filters"_s, array}});
    } else if (arguments.namesOnly) {
        for (const FilterView *filter : filters)
            Terminal::print(Terminal::harmless(filter->name) + u'\n');
    } else if (!filters.empty()) {
        print(filters);
    } else if (view.filters().empty()) {
        Terminal::printError(u"filterbase: the catalogue holds no filter; bring some in with "
                             "\"filterbase import PATH\"\n"_s);
    }
    if (!filters.empty() || arguments.name.isEmpty())
        return Done;
    if (!arguments.json && !view.filters().empty())
        Terminal::printError(u"filterbase: no filter matches \"%1\".%2\n"_s.arg(
                Terminal::harmless(arguments.name), NearNames::hint(arguments.name, view.names())));
    return Negative;
}

} // namespace Tesk::Command
