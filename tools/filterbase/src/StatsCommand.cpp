#include "Commands.h"

#include "Answer.h"
#include "CatalogueView.h"
#include "Session.h"
#include "Table.h"
#include "Terminal.h"

#include <assets/SqliteStore.h>
#include <filterbase/ImplementationInfo.h>

#include <QFileInfo>
#include <QJsonObject>
#include <QSet>

#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

using Counts = std::vector<std::pair<QString, qint64>>;

static Counts count(Session &session, const CatalogueView &view, const QString &path)
{
    qint64 dynamicFilters = 0;
    qint64 hidden = 0;
    qint64 types = 0;
    qint64 usages = 0;
    qint64 heads = 0;
    qint64 superseded = 0;
    qint64 parameters = 0;
    qint64 uids = 0;
    for (const FilterView &filter : view.filters()) {
        dynamicFilters += filter.isDynamic() ? 1 : 0;
        hidden += filter.isHidden ? 1 : 0;
        for (const ImplementationView &each : filter.implementations)
            ++(each.isHead ? heads : superseded);
        if (!filter.isDynamic())
            continue;
        types += filter.dynamic->types.size();
        usages += filter.dynamic->usages.size();
        if (const auto description = filter.description())
            parameters += description->parameters.size();
        for (const auto &keys : {filter.types(), filter.usages()}) {
            for (const KeyView &each : keys)
                uids += each.info->paramUidCorrespondance.size();
        }
    }
    QSet<QString> libraries;
    for (const NodeLibrary::HeldImplementation &each : view.held().implementations())
        libraries.insert(each.library);
    const auto filters = static_cast<qint64>(view.filters().size());
    return {
            {u"filters"_s, filters},
            {u"staticFilters"_s, filters - dynamicFilters},
            {u"dynamicFilters"_s, dynamicFilters},
            {u"hiddenFilters"_s, hidden},
            {u"implementations"_s, heads},
            {u"supersededImplementations"_s, superseded},
            {u"replacedImplementations"_s, static_cast<qint64>(view.held().replaced().size())},
            {u"libraries"_s, libraries.size()},
            {u"types"_s, types},
            {u"usages"_s, usages},
            {u"mergedParameters"_s, parameters},
            {u"uidTableEntries"_s, uids},
            {u"assets"_s, static_cast<qint64>(session.database().statistics().storedAssets)},
            {u"fileBytes"_s, QFileInfo(path).size()},
            {u"newestSchema"_s, Assets::SqliteStore::sSchemaVersion},
    };
}

// "staticFilters" is a key for programs; people read "static filters".
static QString wordsOf(const QString &key)
{
    QString words;
    for (const QChar c : key) {
        if (c.isUpper())
            words += u' ';
        words += c.toLower();
    }
    return words;
}

int runStats(const Arguments &arguments)
{
    Session session(arguments, Session::Access::Read);
    const CatalogueView view(session);
    const Counts counts = count(session, view, arguments.catalogue);
    QJsonObject object{{u"catalogue"_s, arguments.catalogue},
                       {u"version"_s, QString::fromLatin1(FILTERBASE_VERSION)}};
    Table table({u"COUNT"_s, u"VALUE"_s});
    for (const auto &[name, value] : counts) {
        object.insert(name, value);
        table.addRow({wordsOf(name), QString::number(value)});
    }
    table.addRow({u"version"_s, QStringLiteral(FILTERBASE_VERSION)});
    if (arguments.json) {
        Answer::printJson(object);
        return Done;
    }
    Terminal::print(u"%1\n\n"_s.arg(Terminal::harmless(arguments.catalogue)));
    Terminal::print(table.toText(Terminal::width()));
    return Done;
}

} // namespace Tesk::Command
