#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>
#include <QVariant>

#include <cstddef>
#include <optional>
#include <vector>

/// The plain rows that pass between the asset database and a store: values, no objects.
namespace Tesk::Assets {

/// Bits of AssetRow::flags. Those not named here are free for the store's user.
namespace StoreFlags {
constexpr quint32 sHidden = 1U;
}

/// What a store keeps of an asset besides its body: enough to show it, or to make a shell of it.
struct AssetRow
{
    QByteArray id;
    QString className;
    int classVersion = 0;
    QString name; ///< the name the database records; null and empty are the same
    QString category;
    quint32 flags = 0;

    /// Stands for the state of class, version, name, category and body; larger is newer, never used
    /// twice for an id. Flags, metadata, items and thumbnails leave it alone. Given by the store.
    qint64 revision = 0;
    qint64 createdMs = 0;  ///< milliseconds since 1970, UTC; given by the store
    qint64 modifiedMs = 0; ///< of the last change of the revision; given by the store

    friend bool operator==(const AssetRow &, const AssetRow &) = default;
};

/// The fields of an asset as bytes. The store does not look into them.
struct BodyRow
{
    static constexpr int sCbor = 1;

    int encoding = sCbor;
    QByteArray data;

    /// The hash by which a store knows the data again, from whoever encoded them and has it at hand;
    /// a store that needs one and gets none makes it. Not given by a store.
    std::optional<qint64> hash = std::nullopt;

    friend bool operator==(const BodyRow &left, const BodyRow &right)
    {
        return left.encoding == right.encoding && left.data == right.data;
    }
};

struct StoredAsset
{
    AssetRow row;
    std::optional<BodyRow> body; ///< nothing for an asset that was written without one

    friend bool operator==(const StoredAsset &, const StoredAsset &) = default;
};

/// One piece of metadata. A row with an empty value is there; absent is no row.
///
/// The value is of one of these types, everything else is refused: invalid, bool, int, unsigned
/// int, long long, unsigned long long, double, QString, QByteArray, QUrl, QStringList,
/// QVariantList of these.
struct MetaRow
{
    QString key;
    int type = 0;
    int accessibility = 0;
    QVariant value;

    friend bool operator==(const MetaRow &, const MetaRow &) = default;
};

struct DependencyRow
{
    QByteArray id; ///< may name an asset that does not exist
    QString role;

    friend bool operator==(const DependencyRow &, const DependencyRow &) = default;
};

/// One asset to be written. What is left out of the optional parts stays as it is stored.
struct AssetWrite
{
    AssetRow row; ///< revision and times are ignored; flags are taken for a new asset only

    /// Nothing: written over whatever is there. 0: there must be no such asset. Else the revision
    /// that must be found.
    std::optional<qint64> expectedRevision;
    std::optional<BodyRow> body;
    std::optional<std::vector<MetaRow>> metaData;           ///< all of it, no key twice
    std::optional<QByteArray> nextVersion;                  ///< empty: there is none
    std::optional<std::vector<DependencyRow>> dependencies; ///< all of them, in order
};

struct AssetRemoval
{
    QByteArray id;
    std::optional<qint64> expectedRevision; ///< nothing: removed whatever is there
};

struct NameWrite
{
    QByteArray id;
    QString name;
};

struct MetaWrite
{
    QByteArray id;
    MetaRow item;
};

struct ThumbnailWrite
{
    QByteArray id;
    QByteArray data; ///< empty: the thumbnail is removed
};

/// One entry of a collection with what is needed to show it or to make a shell.
struct CatalogueRow
{
    QByteArray id;
    bool exists = false; ///< false: no such asset; the rest is then empty
    QString className;
    QString name;
    quint32 flags = 0;

    friend bool operator==(const CatalogueRow &, const CatalogueRow &) = default;
};

/// What find() looks for; a part that is left out matches everything.
struct AssetQuery
{
    std::optional<QString> className;
    std::optional<QString> name;
    Qt::CaseSensitivity nameCase = Qt::CaseSensitive; ///< insensitive: QString::toLower() of both
    std::optional<QString> category;
};

/// Where a scan goes on; default-constructed is the beginning. Only for the store that made it.
class ScanPosition
{
public:
    ScanPosition() = default;
    explicit ScanPosition(qint64 value)
        : m_value(value)
    {}
    qint64 value() const { return m_value; }

private:
    qint64 m_value = 0;
};

struct AssetPage
{
    std::vector<AssetRow> rows;
    std::optional<ScanPosition> next; ///< nothing: this is the last page
};

/// An asset that was changed after some generation, whoever changed it.
struct ChangeRow
{
    QByteArray id;
    bool removed = false;
    qint64 revision = 0; ///< as stored now; 0 for a removed one

    friend bool operator==(const ChangeRow &, const ChangeRow &) = default;
};

struct ChangeList
{
    qint64 generation = 0; ///< the newest that the list covers
    std::vector<ChangeRow> changes;
};

/// Something that a store found wrong with its content.
struct StoreFinding
{
    enum class Code {
        StoreDamaged,        ///< the storage's own check failed
        BodyDamaged,         ///< a body whose bytes changed since they were written
        VersionCycle,        ///< next-version links that lead back
        DuplicateItem,       ///< an id twice in one collection
        CatalogueOutOfDate,  ///< a collection row that differs from its asset
        OrphanedRow,         ///< rows of an asset that does not exist
        DanglingItem,        ///< a collection item that names no asset; no damage
        DanglingDependency,  ///< a dependency that names no asset; no damage
        DanglingNextVersion, ///< a next version that names no asset; no damage
    };

    Code code;
    QByteArray id;    ///< the asset or collection concerned; empty when it is the store itself
    QByteArray other; ///< the id it points to, where there is one
    QString text;     ///< a sentence for people

    friend bool operator==(const StoreFinding &, const StoreFinding &) = default;
};

struct StoreStatistics
{
    qint64 assets = 0;
    qint64 collectionItems = 0;
    qint64 metaDataItems = 0;
    qint64 versionEdges = 0;
    qint64 dependencies = 0;
    qint64 thumbnails = 0;
    qint64 bodyBytes = 0;
    qint64 storageBytes = 0; ///< on disk; 0 where there is none
};

} // namespace Tesk::Assets
