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

using Assets::AssetDatabaseService;
using Assets::AssetReference;
using FilterBase::DynamicFilterAsset;
using FilterBase::FilterDescAsset;

namespace {

// What goes with the filters of one name.
class Removal
{
public:
    Removal(Session &session, const CatalogueView &view, const QString &key)
        : m_session(session)
        , m_view(view)
    {
        for (const FilterView &filter : view.filters()) {
            if (filter.key != key)
                continue;
            m_filters.insert(filter.reference);
            addImplementations(filter);
        }
        addOldVersions();
        spareWhatOthersNeed();
    }

    const std::set<AssetReference> &filters() const { return m_filters; }
    const std::set<AssetReference> &implementations() const { return m_implementations; }

    void run()
    {
        AssetDatabaseService::BatchScope scope(m_session.database());
        for (const AssetReference &each : m_filters) {
            m_session.manager().unregisterFilter(each);
            m_session.database().removeAsset(each);
        }
        for (const AssetReference &each : m_implementations)
            m_session.database().removeAsset(each);
        scope.commit();
    }

private:
    void addImplementations(const FilterView &filter)
    {
        for (const ImplementationView &each : filter.implementations)
            m_implementations.insert(each.reference);
        for (const ImplementationView &each : filter.replaced)
            m_implementations.insert(each.reference);
    }

    // Versions of the dynamic filter that were replaced lead to one that goes.
    void addOldVersions()
    {
        const std::vector<AssetReference> all =
                m_session.database().findByType(DynamicFilterAsset::sTypeName);
        for (bool isGrowing = true; isGrowing;) {
            isGrowing = false;
            for (const AssetReference &each : all) {
                if (m_view.unreadable().contains(each))
                    continue;
                const std::shared_ptr<Assets::Asset> asset = each.asset();
                if (asset && m_filters.contains(asset->nextVersion.get()))
                    isGrowing = m_filters.insert(each).second || isGrowing;
            }
        }
    }

    void spareWhatOthersNeed()
    {
        for (const QString &type : {DynamicFilterAsset::sTypeName, FilterDescAsset::sTypeName}) {
            for (const AssetReference &filter : m_session.database().findByType(type)) {
                if (!m_filters.contains(filter) && !m_view.unreadable().contains(filter))
                    spareImplementationsOf(filter.asset());
            }
        }
        m_session.database().forEachAsset(
                [this](const AssetReference &reference, const QString &, const QString &) {
                    if (!m_filters.contains(reference) && !m_implementations.contains(reference))
                        spareNeedsOf(reference.asset());
                    return true;
                });
    }

    void spareImplementationsOf(const std::shared_ptr<Assets::Asset> &asset)
    {
        if (const auto dynamic = std::dynamic_pointer_cast<DynamicFilterAsset>(asset)) {
            for (const auto &[key, record] : dynamic->types)
                m_implementations.erase(record->implementationRef.get());
            for (const auto &[key, record] : dynamic->usages)
                m_implementations.erase(record->implementationRef.get());
        } else if (const auto descriptor = std::dynamic_pointer_cast<FilterDescAsset>(asset)) {
            for (const AssetReference &reference : descriptor->implementations)
                m_implementations.erase(reference);
        }
    }

    void spareNeedsOf(const std::shared_ptr<Assets::Asset> &asset)
    {
        if (!asset)
            return;
        try {
            m_implementations.erase(asset->nextVersion.get());
            for (const AssetReference &reference : asset->dependencies)
                m_implementations.erase(reference);
        } catch (const Exception::BaseException &) {
            return; // damaged; what it needed is not known
        }
    }

    Session &m_session;
    const CatalogueView &m_view;
    std::set<AssetReference> m_filters;
    std::set<AssetReference> m_implementations;
};

} // namespace

static QJsonArray toJson(const std::set<AssetReference> &references)
{
    QJsonArray array;
    for (const AssetReference &each : references)
        array.append(ImplementationJson::idOf(each));
    return array;
}

int runRemove(const Arguments &arguments)
{
    Session session(arguments, Session::Access::Write);
    const CatalogueView view(session);
    const FilterView &filter = view.get(arguments.name);
    Removal removal(session, view, filter.key);
    removal.run();
    if (arguments.json)
        Answer::printJson({{u"name"_s, filter.name},
                           {u"filters"_s, toJson(removal.filters())},
                           {u"implementations"_s, toJson(removal.implementations())}});
    else
        Terminal::print(u"removed \"%1\" and %2\n"_s.arg(
                Terminal::harmless(filter.name),
                Answer::counted(static_cast<qint64>(removal.implementations().size()),
                                u"implementation"_s)));
    return Done;
}

} // namespace Tesk::Command
