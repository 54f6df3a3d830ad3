#pragma once

#include <assets/Store.h>
#include <assets/StoreError.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Tesk::Assets {

/// What a call gave: the code of its error, or its numbers.
struct Outcome
{
    std::optional<StoreError::Code> error;
    std::vector<qint64> numbers;

    friend bool operator==(const Outcome &, const Outcome &) = default;
};

/// Says how a store behaves, as plainly as possible: tables that are copied to be put back.
class StoreModel
{
public:
    std::vector<qint64> write(const std::vector<AssetWrite> &assets);
    qint64 remove(const std::vector<AssetRemoval> &assets);
    std::vector<qint64> setNames(const std::vector<NameWrite> &names);
    qint64 setFlags(const std::vector<QByteArray> &ids, quint32 mask, quint32 flags);
    qint64 setMetaData(const std::vector<MetaWrite> &items);
    qint64 removeMetaData(const std::vector<QByteArray> &ids, const QString &key);
    qint64 append(const QByteArray &collection, const std::vector<QByteArray> &ids);
    qint64 removeItems(const QByteArray &collection, const std::vector<QByteArray> &ids);
    void setThumbnails(const std::vector<ThumbnailWrite> &thumbnails);
    void begin();
    void commit();
    void rollback();

    bool inTransaction() const { return m_before.has_value(); }
    qint64 revisionOf(const QByteArray &id) const;

    /// Runs \a call, a change; puts everything back when it raises.
    template<class Call>
    Outcome run(Call call)
    {
        const State before = m_state;
        try {
            Outcome outcome{{}, call(*this)};
            if (!inTransaction())
                m_isGenerationOpen = false;
            return outcome;
        } catch (const StoreError &error) {
            m_isGenerationOpen = inTransaction() && before.generation != m_before->generation;
            m_state = before;
            return {error.code(), {}};
        }
    }

    /// Everything that can be read, a line a fact.
    std::vector<std::string> dump(const std::vector<QByteArray> &ids) const;

private:
    struct Asset
    {
        AssetRow row;
        int order = 0;
        qint64 changed = 0;
        std::optional<BodyRow> body;
        std::map<QString, MetaRow> metaData;
        QByteArray nextVersion;
        std::vector<DependencyRow> dependencies;
        std::optional<QByteArray> thumbnail;
        std::vector<QByteArray> items;
    };
    struct State
    {
        std::map<QByteArray, Asset> assets;
        std::map<QByteArray, qint64> removed;
        qint64 generation = 0;
    };

    qint64 generation();
    Asset &require(const QByteArray &id);
    std::vector<const Asset *> inOrder() const;
    bool leadsTo(QByteArray from, const QByteArray &to) const;

    State m_state;
    std::optional<State> m_before;
    bool m_isGenerationOpen = false;
};

/// Reads all of a store, in the form of StoreModel::dump().
std::vector<std::string> dump(const Store &store, const std::vector<QByteArray> &ids);

} // namespace Tesk::Assets
