#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <nodelibrary/NodeDef.h>
#include <nodelibrary/Problem.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace Tesk::NodeLibrary {

/// An implementation that stands in the catalogue.
struct NODELIBRARY_EXPORT HeldImplementation
{
    NodeDef nodeDef;
    QString library;
    QString filterName;
    QString digest;      ///< of the definition and the text, from its identifier
    QString nextNodeDef; ///< the next version's, when it is superseded
    int position = 0;    ///< in its library
    bool isHead = true;
    bool isDynamic = false; ///< belongs to a dynamic filter
};

/// A nodedef that was read from a library's files.
struct NODELIBRARY_EXPORT ReadNodeDef
{
    NodeDef nodeDef;
    QString filterName;
};

/// Everything that was read of one library.
struct NODELIBRARY_EXPORT ReadLibrary
{
    QString name;
    std::vector<ReadNodeDef> nodeDefs; ///< in canonical order
};

/// What only the catalogue knows.
struct NODELIBRARY_EXPORT CatalogueFacts
{
    /// Whether a dynamic filter stands under the key.
    std::function<bool(const QString &key)> isDynamic;
    /// The highest generation of a nodedef's assets, 0 when there is none.
    std::function<int(const QString &nodeDef)> latestGeneration;
};

/// The next version of a new asset: another new one or one that is held.
struct NODELIBRARY_EXPORT NextVersion
{
    std::optional<std::size_t> created; ///< index among the new assets
    std::optional<std::size_t> held;    ///< index among the held implementations

    bool operator==(const NextVersion &) const = default;
};

/// An asset to make.
struct NODELIBRARY_EXPORT CreatedAsset
{
    NodeDef nodeDef;
    QString library;
    QString assetName;
    QString text;
    QByteArray id;
    NextVersion next;
    int position = 0;
    bool isHead = true;
    bool isDynamic = false;
    bool endsOldLine = false; ///< an old asset's versions lead to this one
};

/// A held asset and the new one that takes its place.
struct NODELIBRARY_EXPORT Succession
{
    std::size_t held = 0;
    std::size_t created = 0;

    bool operator==(const Succession &) const = default;
};

/// What an import does to one filter.
struct NODELIBRARY_EXPORT FilterChange
{
    enum class State : int { New = 0, Updated = 1, Unchanged = 2, Removed = 3 };

    QString name;
    QString key;
    State state = State::Unchanged;
    bool isDynamic = false;
    bool wasDynamic = false;
    std::vector<std::size_t> batch;      ///< new assets to register, in this order
    std::vector<std::size_t> superseded; ///< new assets that are never registered
    std::vector<std::size_t> replaced;   ///< held implementations that no longer stand
};

/// What an import does to the catalogue.
struct NODELIBRARY_EXPORT ImportPlan
{
    struct Move
    {
        std::size_t held = 0;
        int position = 0;

        bool operator==(const Move &) const = default;
    };

    std::vector<CreatedAsset> created;
    std::vector<Succession> successions;
    std::vector<FilterChange> filters; ///< by ascending key, the unchanged ones included
    std::vector<Move> moves; ///< implementations that stay, but elsewhere in their library
    QStringList libraries;   ///< all of them, in the order in which they first came
    Problems problems;

    std::size_t count(FilterChange::State state) const;
};

/// Compares what the catalogue holds with what was read.
///
/// A library that is read replaces what the library of that name brought before; nodedefs of
/// other libraries stay, and with them their names. Pure: it reads and writes no catalogue.
struct NODELIBRARY_EXPORT LibraryDiff
{
    /// Plans the import of \a read over \a held.
    ///
    /// \a held is in the order in which its libraries first came, canonical within each. A
    /// library that occurs twice in \a read is one library that is read in two parts.
    static ImportPlan compare(const std::vector<HeldImplementation> &held,
                              std::vector<ReadLibrary> read, const CatalogueFacts &facts);
};

} // namespace Tesk::NodeLibrary
