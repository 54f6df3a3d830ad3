#include "Commands.h"

#include "Answer.h"
#include "CatalogueView.h"
#include "CommandError.h"
#include "ImplementationJson.h"
#include "NearNames.h"
#include "Session.h"
#include "Terminal.h"

#include <assets/AssetControl.h>
#include <filterbase/UserDataKeys.h>

#include <QJsonObject>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

using Assets::AssetReference;

static bool isDynamicImplementation(const AssetReference &reference)
{
    return Assets::AssetControl::getAssetMetadataItem(reference, FilterBase::filterTypeUserDataKey)
                   .toString()
           == FilterBase::dynamicFilterTypeUserData;
}

// An identifier names its asset; a name stands for the static filter that bears it, or else for the
// filter of the collection.
static AssetReference findAsset(Session &session, const CatalogueView &view, const QString &text)
{
    if (const auto asset = session.database().getAssetFromId(text.toUtf8()))
        return asset->ownReference();
    std::vector<AssetReference> found = session.database().findByName(text);
    std::sort(found.begin(), found.end());
    const auto isStatic = [](const AssetReference &each) {
        const auto asset = std::dynamic_pointer_cast<NodeLibrary::NodeDefAsset>(each.asset());
        return asset && !isDynamicImplementation(each);
    };
    const auto asset = std::find_if(found.begin(), found.end(), isStatic);
    if (asset != found.end())
        return *asset;
    if (const FilterView *filter = view.find(text))
        return filter->reference;
    throw CommandError(Negative, u"there is no asset \"%1\".%2"_s.arg(
                                         text, NearNames::hint(text, view.names())));
}

static QString reasonFor(Session &session, const AssetReference &reference)
{
    const QString name = session.database().getNameFromRef(reference);
    if (isDynamicImplementation(reference))
        return u"it is an implementation of a dynamic filter, which has no other stand-in"_s;
    if (name == "Fill"_L1)
        return u"the static filter \"Fill\" is never replaced by a dynamic one"_s;
    return u"no dynamic filter is called \"%1\""_s.arg(name);
}

int runResolve(const Arguments &arguments)
{
    Session session(arguments, Session::Access::Read);
    const CatalogueView view(session);
    const AssetReference asset = findAsset(session, view, arguments.name);
    const AssetReference resolved = session.manager().getDynamicFilterFromStaticFilter(asset);
    const QString reason = resolved.isValid() ? QString() : reasonFor(session, asset);
    if (arguments.json) {
        Answer::printJson({{u"asset"_s, ImplementationJson::idOf(asset)},
                           {u"dynamicFilter"_s, Answer::orNull(ImplementationJson::idOf(resolved))},
                           {u"name"_s, Answer::orNull(session.database().getNameFromRef(resolved))},
                           {u"reason"_s, Answer::orNull(reason)}});
    } else if (resolved.isValid()) {
        Terminal::print(
                u"%1 %2\n"_s.arg(Terminal::harmless(session.database().getNameFromRef(resolved)),
                                 Terminal::harmless(ImplementationJson::idOf(resolved))));
    } else {
        Terminal::printError(u"filterbase: %1: %2\n"_s.arg(
                Terminal::harmless(ImplementationJson::idOf(asset)), Terminal::harmless(reason)));
    }
    return resolved.isValid() ? Done : Negative;
}

} // namespace Tesk::Command
