#pragma once

#include "Session.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <nodelibrary/HeldCatalogue.h>
#include <nodelibrary/NodeDefAsset.h>

#include <QString>
#include <QStringList>

#include <memory>
#include <set>
#include <unordered_map>
#include <vector>

namespace Tesk::Command {

/// An implementation of a filter.
struct ImplementationView
{
    Assets::AssetReference reference;
    std::shared_ptr<NodeLibrary::NodeDefAsset> asset; ///< null where another client made it
    QString nodeDef; ///< its name; the identifier where another client made it
    bool isHead = true;
};

/// A record of a dynamic filter.
struct KeyView
{
    QString key;
    const FilterBase::ImplementationInfo *info = nullptr;
    QString nodeDef;
};

/// One filter of the collection.
struct FilterView
{
    QString name;
    QString key;
    Assets::AssetReference reference;
    std::shared_ptr<FilterBase::DynamicFilterAsset> dynamic; ///< null for a static one
    std::shared_ptr<FilterBase::FilterDescAsset> descriptor; ///< null for a dynamic one
    bool isHidden = false;
    std::vector<ImplementationView> implementations; ///< in canonical order, superseded included
    std::vector<ImplementationView> replaced;        ///< assets that a later import replaced

    bool isDynamic() const { return dynamic != nullptr; }
    std::vector<KeyView> types() const;
    std::vector<KeyView> usages() const;

    /// Where an implementation is registered: "types/color", "usages/boolean".
    QStringList placesOf(const ImplementationView &implementation) const;

    /// The description that callers of the filter see; null when it has none.
    std::shared_ptr<const RenderableBase::RenderableIODesc> description() const;

    /// The implementation by which a parameter of the description came in.
    QString originOf(unsigned int uid) const;

    /// The one implementation of a static filter, else null.
    const ImplementationView *onlyHead() const;
};

/// The filters of a catalogue, read once.
class CatalogueView
{
public:
    /// Reads what can be read, and warns of the rest if \a isWarning.
    explicit CatalogueView(Session &session, bool isWarning = true);

    /// By ascending key, the dynamic one of a key first.
    const std::vector<FilterView> &filters() const { return m_filters; }

    /// Filters and implementations whose bodies are damaged.
    const std::set<Assets::AssetReference> &unreadable() const { return m_unreadable; }

    /// Replaced assets whose filter has left the collection.
    const std::vector<ImplementationView> &homeless() const { return m_homeless; }

    const NodeLibrary::HeldCatalogue &held() const { return m_held; }

    QStringList names() const;

    /// The filter of \a name in any letter case, the dynamic one where there are two.
    const FilterView *find(const QString &name) const;

    /// The same; raises a CommandError with suggestions when there is none.
    const FilterView &get(const QString &name) const;

private:
    void readCollection(Session &session);
    bool isReadable(const Assets::AssetReference &reference);
    ImplementationView viewOf(const Assets::AssetReference &reference, bool isHead);
    void addImplementations();
    void addForeign(FilterView &filter);
    void addReplaced();
    FilterView *homeOf(const Assets::AssetReference &reference);

    NodeLibrary::HeldCatalogue m_held;
    std::vector<FilterView> m_filters;
    std::set<Assets::AssetReference> m_unreadable;
    std::vector<ImplementationView> m_homeless;
    std::unordered_map<Assets::AssetReference, std::size_t> m_homes; // of standing implementations
};

} // namespace Tesk::Command
