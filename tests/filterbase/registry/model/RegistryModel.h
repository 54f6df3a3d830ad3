#pragma once

#include "Step.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace FilterBaseTesting {

/// An asset as the registry's rules see it.
struct ModelAsset
{
    enum class Kind { Filter, Bare, Plain, Descriptor, Dynamic };

    bool isFilter() const { return kind != Kind::Plain; }
    std::string debugInfo() const;

    Kind kind = Kind::Plain;
    QByteArray id;
    QString name;
    QString recordedName;
    bool isInternal = false;
    bool isHidden = false;
    QByteArray next;
    std::map<QString, QString> items;
    QString variation;
    std::vector<QByteArray> list;
    std::map<QString, QByteArray> types;
    std::map<QString, QByteArray> usages;
    bool isDescribed = false;
};

/// Returns "[id]", or "null" for an empty id.
std::string shown(const QByteArray &id);

/// The rules of the filter registry over plain containers: slow, simple, and without a database.
///
/// An id of an asset that the database would give a random one is a number in braces, of the
/// same form. An empty id is a null reference.
class RegistryModel
{
public:
    using AssetPtr = std::shared_ptr<ModelAsset>;

    Outcome run(const Step &step);

    /// What the look-ups by this name answer, in the letter case as given.
    std::string lookUp(int manager, const QString &name) const;

    /// One line about the asset of this id, or about there being none.
    std::string content(const QByteArray &id) const;
    std::string collection() const;

    const std::map<QByteArray, AssetPtr> &assets() const { return m_assets; }
    const std::vector<QByteArray> &items() const { return m_items; }
    AssetPtr resolve(const QByteArray &id) const;
    bool isInScope() const { return m_scope.has_value(); }

    /// The ids of what the open scope is to store.
    const std::set<QByteArray> &writtenInScope() const { return m_scope->written; }
    bool hasManager(int manager) const
    {
        return m_managers.at(static_cast<std::size_t>(manager)).has_value();
    }

    /// Whether a link to \a newer would close a circle of links that are all stored.
    bool wouldCloseStoredCircle(const QByteArray &older, const QByteArray &newer) const;

private:
    struct Raised
    {
        std::string text;
    };
    struct Manager
    {
        std::map<QString, AssetPtr> descriptors;
        std::map<QString, AssetPtr> dynamicFilters;
    };
    struct VersionPair
    {
        AssetPtr older;
        AssetPtr newer;
    };
    struct Scope
    {
        std::map<QByteArray, AssetPtr> assets;
        std::map<AssetPtr, ModelAsset> states;
        std::map<QByteArray, QByteArray> formerIds;
        std::vector<QByteArray> items;
        std::set<QByteArray> written;
        std::set<int> managers; ///< those that took part
        bool isSpoilt = false;
    };

    // the host
    void apply(const Step &step);
    AssetPtr insert(ModelAsset::Kind kind, const QByteArray &id, const QString &name,
                    bool isInternal = false);
    AssetPtr makeInternalDynamicFilter();
    void makePersistent(const AssetPtr &asset, const QByteArray &id);
    void remove(const QByteArray &id);
    void rename(ModelAsset &asset, const QString &name);
    void setNext(ModelAsset &asset, const QByteArray &next);
    void setList(ModelAsset &descriptor, const std::vector<QByteArray> &list);
    void collect(const QByteArray &item);
    void uncollect(const QByteArray &item);
    void restart(const Step &step);

    /// To be called before a change of an asset: stores nothing, or raises.
    void write(const ModelAsset &asset);
    void writeId(const QByteArray &id);
    bool refuses(const QByteArray &id) const;
    void openScope();
    void commitScope();
    void abandonScope();
    void renewManagers(const std::set<int> &managers);
    std::string describe(const QByteArray &reference) const;
    bool isNewVersion(const AssetPtr &asset, const QByteArray &candidate) const;
    void ask(const AssetPtr &asset, Operation operation);
    void hide(const QByteArray &reference, bool isPosted = false);
    void setHidden(const QByteArray &reference);
    void log(const std::string &function, const std::string &text, int service = 2, int level = 1);

    // the registry
    void start(Manager &manager);
    void declare(const AssetPtr &asset);
    AssetPtr getOrCreateFilterDesc(const QString &name);
    QByteArray registerFilterDesc(const QString &name, const QByteArray &reference);
    void purge(ModelAsset &descriptor, const QString &name, const QByteArray &implementation);
    QByteArray findDynamicFor(const QByteArray &reference);
    AssetPtr newestVersion(AssetPtr asset, const char *function);
    QByteArray registerDynamicFilter(const QString &name, const QByteArray &reference);
    QByteArray createOrUpdateFilter(const QByteArray &reference, const QString &nameOverride);
    std::vector<QByteArray> createOrUpdateFilters(const std::vector<QByteArray> &references,
                                                  const QString &nameOverride);
    void settle(std::vector<QByteArray> &result, const QString &nameOverride);
    bool isFilter(const AssetPtr &asset);

    // the dynamic filter
    void registerImplementation(ModelAsset &filter, const ModelAsset &implementation);
    bool containsPreviousVersion(const ModelAsset &filter, const QByteArray &candidate) const;
    void describeFilter(ModelAsset &filter);

    Manager &manager() { return *m_managers.at(static_cast<std::size_t>(m_current)); }

    std::map<QByteArray, AssetPtr> m_assets;
    std::map<QByteArray, QByteArray> m_formerIds; ///< of what was made persistent, this session
    std::vector<QByteArray> m_items;
    std::array<std::optional<Manager>, 2> m_managers;
    int m_current = 0;
    bool m_isOnWorker = false;
    int m_internalCount = 0;
    std::optional<Fault> m_fault;
    std::optional<Refusal> m_refusal;
    std::optional<Scope> m_scope;
    Outcome m_outcome;
    std::vector<QByteArray> m_postedHides;
};

} // namespace FilterBaseTesting
