#include "Commands.h"

#include "Answer.h"
#include "CatalogueView.h"
#include "HidingRules.h"
#include "Session.h"
#include "Terminal.h"

#include <assets/CollectionControl.h>

#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

static void print(const Arguments &arguments, const FilterView &filter, bool isHidden,
                  const QString &note)
{
    if (arguments.json) {
        Answer::printJson({{u"name"_s, filter.name},
                           {u"hidden"_s, isHidden},
                           {u"changed"_s, filter.isHidden != isHidden},
                           {u"note"_s, Answer::orNull(note)}});
        return;
    }
    Terminal::print(u"\"%1\" %2 %3\n"_s.arg(Terminal::harmless(filter.name),
                                            filter.isHidden == isHidden ? u"was"_s : u"is now"_s,
                                            isHidden ? u"hidden"_s : u"shown"_s));
    if (!note.isEmpty())
        Terminal::print(u"note: %1\n"_s.arg(Terminal::harmless(note)));
}

int runHide(const Arguments &arguments)
{
    Session session(arguments, Session::Access::Write);
    const CatalogueView view(session);
    const FilterView &filter = view.get(arguments.name);
    Assets::CollectionControl::hideAsset(filter.reference);
    print(arguments, filter, true, {});
    return Done;
}

// Where two filters share a name, the hidden one is meant.
static const FilterView &hiddenOne(const CatalogueView &view, const QString &name)
{
    const FilterView &filter = view.get(name);
    for (const FilterView &each : view.filters()) {
        if (each.key == filter.key && each.isHidden && !filter.isHidden)
            return each;
    }
    return filter;
}

int runUnhide(const Arguments &arguments)
{
    Session session(arguments, Session::Access::Write);
    const CatalogueView view(session);
    const FilterView &filter = hiddenOne(view, arguments.name);
    Assets::CollectionControl::showAsset(filter.reference);
    const QString reason = HidingRules::reasonFor(filter, view);
    print(arguments, filter, false,
          reason.isEmpty() ? QString() : u"it will be hidden again: "_s + reason);
    return Done;
}

} // namespace Tesk::Command
