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

#include <algorithm>
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
            findings.push_back({DuplicateName, false, filter.reference,
                                u"another filter of the name \"%1\" stands before it; remove the "
                                "one that is not wanted"_s.arg(filter.name),
                                false});
        for (const ImplementationView &each : filter.implementations) {
            if (!each.reference.asset())
                findings.push_back({MissingImplementation, true, filter.reference,
                                    u"\"%1\" names the implementation \"%2\", which is not there; "
                                    "import its library again to have it back"_s.arg(
                                            filter.name, ImplementationJson::idOf(each.reference)),
                                    false});
        }
    }
}

static std::vector<Finding> findingsOf(Session &session, const CatalogueView &view)
{
    std::vector<Finding> findings;
    addDatabaseFindings(session, findings);
    addFilterFindings(view, findings);
    return findings;
}

namespace {

// Mends what can be mended without losing anything that could still be read.
class Repair
{
public:
    Repair(Session &session, const std::vector<Finding> &findings)
        : m_session(session)
    {
        for (const Finding &finding : findings) {
            const bool isChanged = finding.code == static_cast<int>(Code::BodyDamaged);
            const bool isUnreadable = finding.code == static_cast<int>(Code::BodyUndecodable);
            if (isChanged)
                m_changed.insert(finding.reference);
            else if (isUnreadable)
                m_unreadable.insert(finding.reference);
        }
    }

    void run(const std::vector<Finding> &findings)
    {
        Assets::AssetDatabaseService::BatchScope scope(m_session.database());
        removeUnreadable();
        for (const Finding &finding : findings) {
            if (finding.code == static_cast<int>(Code::DanglingItem))
                dropDanglingItems(finding.reference);
        }
        dropMissingImplementations();
        scope.commit();
    }

private:
    using Code = IntegrityFinding::Code;

    // Unreadable because its bytes are not what was written: of no use to any program. Without
    // it the library's next import brings it back.
    void removeUnreadable()
    {
        for (const AssetReference &reference : m_unreadable) {
            if (!m_changed.contains(reference))
                continue;
            m_session.manager().unregisterFilter(reference);
            m_session.database().removeAsset(reference);
        }
    }

    static void dropDanglingItems(const AssetReference &reference)
    {
        const auto collection =
                std::dynamic_pointer_cast<Assets::CollectionAsset>(reference.asset());
        if (!collection)
            return;
        for (const AssetReference &item : collection->items()) {
            if (!item.asset())
                Assets::CollectionControl::removeAsset(collection, item);
        }
    }

    // A descriptor does without; a dynamic filter is made anew by an import.
    void dropMissingImplementations()
    {
        const CatalogueView view(m_session, false);
        const auto isMissing = [](const AssetReference &each) {
            return !each.asset();
        };
        for (const FilterView &filter : view.filters()) {
            if (!filter.descriptor)
                continue;
            const std::vector<AssetReference> all = filter.descriptor->implementations.values();
            if (std::any_of(all.begin(), all.end(), isMissing))
                filter.descriptor->implementations.removeIf(isMissing);
        }
    }

    Session &m_session;
    std::set<AssetReference> m_changed;
    std::set<AssetReference> m_unreadable;
};

} // namespace

// Tells as repaired only what a second look does not find again.
static std::vector<Finding> repair(Session &session, std::vector<Finding> findings)
{
    Repair(session, findings).run(findings);
    std::vector<Finding> left = findingsOf(session, CatalogueView(session, false));
    const auto isSame = [](const Finding &one, const Finding &other) {
        return one.code == other.code && one.text == other.text;
    };
    for (Finding &finding : findings) {
        finding.isRepaired = std::none_of(left.begin(), left.end(), [&](const Finding &each) {
            return isSame(each, finding);
        });
    }
    // What the repair itself has brought to light.
    for (Finding &each : left) {
        if (std::none_of(findings.begin(), findings.end(),
                         [&](const Finding &known) { return isSame(known, each); }))
            findings.push_back(std::move(each));
    }
    return findings;
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
    const CatalogueView view(session, false);
    std::vector<Finding> findings = findingsOf(session, view);
    if (arguments.repair)
        findings = repair(session, std::move(findings));

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
