#include "Commands.h"

#include "Answer.h"
#include "CatalogueView.h"
#include "ImplementationJson.h"
#include "Session.h"
#include "Terminal.h"

#include <vantbase/Exception.h>

#include <QJsonArray>
#include <QJsonObject>

#include <set>
#include <vector>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

using Assets::AssetReference;
using Line = std::vector<AssetReference>;

// Fits every line of a sound catalogue; a damaged one must not make the walk endless.
static constexpr std::size_t sLongestLine = 10'000;

static AssetReference nextOf(const AssetReference &reference)
{
    const std::shared_ptr<Assets::Asset> asset = reference.asset();
    try {
        return asset ? asset->nextVersion.get() : AssetReference();
    } catch (const Exception::BaseException &) {
        return {}; // damaged; the view has warned of it
    }
}

// One line from each asset that nothing leads to.
static std::vector<Line> linesOf(const std::set<AssetReference> &assets)
{
    std::set<AssetReference> successors;
    for (const AssetReference &each : assets)
        successors.insert(nextOf(each));
    std::vector<Line> lines;
    for (const AssetReference &each : assets) {
        if (successors.contains(each))
            continue;
        Line line{each};
        for (AssetReference next = nextOf(each); next.isValid() && line.size() < sLongestLine;
             next = nextOf(next))
            line.push_back(next);
        lines.push_back(std::move(line));
    }
    return lines;
}

static std::set<AssetReference> implementationsOf(const FilterView &filter)
{
    std::set<AssetReference> assets;
    for (const ImplementationView &each : filter.implementations)
        assets.insert(each.reference);
    for (const ImplementationView &each : filter.replaced)
        assets.insert(each.reference);
    return assets;
}

// The filter itself and the versions of it that later imports replaced.
static std::set<AssetReference> versionsOf(Session &session, const FilterView &filter)
{
    std::set<AssetReference> assets{filter.reference};
    if (!filter.isDynamic())
        return assets;
    for (const AssetReference &each : session.database().findByName(filter.name)) {
        if (std::dynamic_pointer_cast<FilterBase::DynamicFilterAsset>(each.asset()))
            assets.insert(each);
    }
    return assets;
}

static QString versionOf(const NodeLibrary::NodeDefAsset &asset)
{
    try {
        return asset.definition.get().version;
    } catch (const Exception::BaseException &) {
        return u"cannot be read"_s;
    }
}

static QString textOf(const AssetReference &reference)
{
    const auto asset = std::dynamic_pointer_cast<NodeLibrary::NodeDefAsset>(reference.asset());
    const QString version = asset ? versionOf(*asset) : QString();
    return ImplementationJson::idOf(reference)
           + (version.isEmpty() ? QString() : u" (version %1)"_s.arg(version));
}

static void print(const QString &heading, const std::vector<Line> &lines)
{
    QString text = Terminal::bold(heading) + u'\n';
    for (const Line &line : lines) {
        QStringList steps;
        for (const AssetReference &each : line)
            steps.append(Terminal::harmless(textOf(each)));
        text += u"  "_s + steps.join(u"\n    -> "_s) + u'\n';
    }
    Terminal::print(text);
}

static QJsonArray toJson(const std::vector<Line> &lines)
{
    QJsonArray array;
    for (const Line &line : lines) {
        QJsonArray ids;
        for (const AssetReference &each : line)
            ids.append(ImplementationJson::idOf(each));
        array.append(ids);
    }
    return array;
}

int runVersions(const Arguments &arguments)
{
    Session session(arguments, Session::Access::Read);
    const CatalogueView view(session);
    const FilterView &filter = view.get(arguments.name);
    const std::vector<Line> own = linesOf(versionsOf(session, filter));
    const std::vector<Line> implementations = linesOf(implementationsOf(filter));
    if (arguments.json) {
        Answer::printJson({{u"name"_s, filter.name},
                           {u"filter"_s, toJson(own)},
                           {u"implementations"_s, toJson(implementations)}});
        return Done;
    }
    print(u"filter %1"_s.arg(Terminal::harmless(filter.name)), own);
    print(u"implementations"_s, implementations);
    return Done;
}

} // namespace Tesk::Command
