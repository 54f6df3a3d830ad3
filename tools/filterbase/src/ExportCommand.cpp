#include "Commands.h"

#include "Answer.h"
#include "CatalogueView.h"
#include "ImplementationJson.h"
#include "Session.h"
#include "Terminal.h"

#include <QJsonArray>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

static QString lineOf(const ImplementationView &implementation, const FilterView &filter)
{
    const QStringList places = filter.placesOf(implementation);
    return u"  %1%2%3\n"_s.arg(implementation.nodeDef,
                               implementation.isHead ? QString() : u" (superseded)"_s,
                               places.isEmpty() ? QString() : u": "_s + places.join(u", "_s));
}

static void print(const FilterView &filter)
{
    QString text = u"%1 %2%3 %4\n"_s.arg(filter.isDynamic() ? u"dynamic"_s : u"static"_s,
                                         filter.name, filter.isHidden ? u" (hidden)"_s : QString(),
                                         ImplementationJson::idOf(filter.reference));
    for (const ImplementationView &each : filter.implementations)
        text += lineOf(each, filter);
    for (const ImplementationView &each : filter.replaced)
        text += u"  replaced: "_s + ImplementationJson::idOf(each.reference) + u'\n';
    Terminal::print(text);
}

int runExport(const Arguments &arguments)
{
    Session session(arguments, Session::Access::Read);
    const CatalogueView view(session);
    if (!arguments.json) {
        for (const FilterView &filter : view.filters())
            print(filter);
        return Done;
    }
    QJsonArray filters;
    for (const FilterView &filter : view.filters())
        filters.append(ImplementationJson::ofFilter(filter));
    Answer::printJson({{u"filters"_s, filters},
                       {u"removed"_s, ImplementationJson::ofImplementations(view.homeless())}});
    return Done;
}

} // namespace Tesk::Command
