#include "Commands.h"

#include "Answer.h"
#include "CatalogueView.h"
#include "ImplementationJson.h"
#include "Session.h"
#include "Terminal.h"

#include <assets/CollectionAsset.h>
#include <assets/CollectionControl.h>
#include <assets/IntegrityFinding.h>

#include <QJsonArray>
#include <QJsonObject>

#include <set>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

using Assets::AssetReference;
using Assets::IntegrityFinding;

namespace {

struct Finding
{
    int code = 0;
    bool isDamage = true;
    AssetReference reference;
    QString text;
    bool isRepaired = false;
};

// The codes from here on are this command's own; those below are the database's.
enum FilterCode : int {
    DuplicateName = 101,         ///< two filters of one kind and key; the first wins
    MissingImplementation = 102, ///< a filter names an asset that is not there
};

} // namespace

static bool isDamage(IntegrityFinding::Code code)
{
    return code != IntegrityFinding::Code::DanglingDependency
           && code != IntegrityFinding::Code::DanglingNextVersion
           && code != IntegrityFinding::Code::DanglingItem;
}

static void addDatabaseFindings(Session &session, std::vector<Finding> &findings)
{
    for (const IntegrityFinding &each : session.database().checkIntegrity())
        findings.push_back({static_cast<int>(each.code), isDamage(each.code), each.reference,
                            each.text, false});
}

static void addFilterFindings(const CatalogueView &view, std::vector<Finding> &findings)
{
    std::set<std::pair<QString, bool>> seen;
    for (const FilterView &filter : view.filters()) {
        if (!seen.insert({filter.key, filter.isDynamic()}).second)
            findings.push_back(
                    {DuplicateName, false, filter.reference,
                     u"another filter of the name \"%1\" stands before it"_s.arg(filter.name),
                     false});
        for (const ImplementationView &each : filter.implementations) {
            if (!each.reference.asset())
                findings.push_back(
                        {MissingImplementation, true, filter.reference,
                         u"\"%1\" names the implementation \"%2\", which is not there"_s.arg(
                                 filter.name, ImplementationJson::idOf(each.reference)),
                         false});
        }
    }
}

// Mends what can be mended without loss: items and entries that name nothing.
static void repair(Session &session, std::vector<Finding> &findings)
{
    Assets::AssetDatabaseService::BatchScope scope(session.database());
    const auto collection = std::dynamic_pointer_cast<Assets::CollectionAsset>(
            session.manager().getFilterBaseReference().asset());
    for (Finding &finding : findings) {
        if (finding.code == static_cast<int>(IntegrityFinding::Code::DanglingItem)) {
            Assets::CollectionControl::removeAsset(collection, finding.reference);
            finding.isRepaired = true;
        } else if (finding.code == MissingImplementation) {
            const auto descriptor = std::dynamic_pointer_cast<FilterBase::FilterDescAsset>(
                    finding.reference.asset());
            if (!descriptor)
                continue;
            descriptor->implementations.removeIf(
                    [](const AssetReference &each) { return !each.asset(); });
            finding.isRepaired = true;
        }
    }
    scope.commit();
}

static void print(const Finding &finding)
{
    Terminal::print(u"%1 %2%3: %4\n"_s.arg(
            finding.isRepaired ? u"repaired"_s
            : finding.isDamage ? u"damage"_s
                               : u"note"_s,
            QString::number(finding.code),
            finding.reference.isValid()
                    ? u' ' + Terminal::harmless(ImplementationJson::idOf(finding.reference))
                    : QString(),
            Terminal::harmless(finding.text)));
}

static QJsonObject toJson(const Finding &finding)
{
    return {{u"code"_s, finding.code},
            {u"damage"_s, finding.isDamage},
            {u"asset"_s, Answer::orNull(ImplementationJson::idOf(finding.reference))},
            {u"text"_s, finding.text},
            {u"repaired"_s, finding.isRepaired}};
}

int runCheck(const Arguments &arguments)
{
    Session session(arguments, arguments.repair ? Session::Access::Write : Session::Access::Read);
    std::vector<Finding> findings;
    addDatabaseFindings(session, findings);
    const CatalogueView view(session);
    addFilterFindings(view, findings);
    if (arguments.repair)
        repair(session, findings);

    qint64 damage = 0;
    QJsonArray array;
    for (const Finding &finding : findings) {
        damage += finding.isDamage && !finding.isRepaired ? 1 : 0;
        array.append(toJson(finding));
        if (!arguments.json)
            print(finding);
    }
    if (arguments.json)
        Answer::printJson({{u"filters"_s, static_cast<qint64>(view.filters().size())},
                           {u"findings"_s, array}});
    else
        Terminal::print(u"%1 checked, %2\n"_s.arg(
                Answer::counted(static_cast<qint64>(view.filters().size()), u"filter"_s),
                damage == 0 ? u"no damage"_s : Answer::counted(damage, u"fault"_s)));
    return damage == 0 ? Done : Negative;
}

} // namespace Tesk::Command
