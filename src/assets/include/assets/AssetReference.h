#pragma once

#include <assets/assets_export.h>

#include <data/Node.h>

#include <QByteArray>
#include <QMetaType>
#include <QString>

#include <cstddef>
#include <functional>
#include <memory>

namespace Tesk::Assets {

class Asset;
struct AssetRecord;

/// Names an asset of a database, whether or not the asset exists.
///
/// A default-constructed reference is null: it names nothing and is invalid. One that
/// names something is valid, also when no asset of that id exists (any more); then
/// asset() is null. References compare by the bytes of their ids alone.
///
/// Ownership: owns nothing; one pointer to a record that stays until the process ends.
/// Threads: a value; every operation is safe from any thread.
/// Errors: never throws and never logs.
/// Persistence: the bytes of the id.
class ASSETS_EXPORT AssetReference
{
public:
    /// How long the named asset lives. The numbers are fixed.
    enum class Lifespan : int {
        Persistent = 0, ///< as long as the database keeps it
        Internal = 1,   ///< until the database closes, or until it is made persistent
    };

    constexpr AssetReference() = default;
    explicit constexpr AssetReference(const AssetRecord *record)
        : m_record(record)
    {}

    bool isValid() const { return m_record != nullptr; }
    bool isInvalid() const { return m_record == nullptr; }

    /// Returns the asset; null when unknown, removed, not loadable, or the database is closed.
    ///
    /// Reads the database only when the asset is not live yet.
    std::shared_ptr<Asset> asset() const;

    QByteArray id() const;

    /// Returns the lifespan of what was filed under this id; Persistent for what is unknown.
    Lifespan lifespan() const;

    /// Returns the name, where the asset is live and has one, and the id: \c{"Blur" [id]}.
    ///
    /// "<null reference>" for a null one. Never reads the database.
    QString debugInfo() const;

    const AssetRecord *record() const { return m_record; } ///< for the database

    friend bool operator==(const AssetReference &left, const AssetReference &right)
    {
        return left.m_record == right.m_record || equalIds(left, right);
    }
    friend bool operator!=(const AssetReference &left, const AssetReference &right)
    {
        return !(left == right);
    }

    /// Orders by the bytes of the ids; null comes first.
    friend bool operator<(const AssetReference &left, const AssetReference &right)
    {
        return left.m_record != right.m_record && lessIds(left, right);
    }

    /// Hashes the bytes of the id; stays the same as long as the process.
    std::size_t hash() const noexcept;
    friend std::size_t qHash(const AssetReference &reference, std::size_t seed = 0) noexcept
    {
        return reference.hash() ^ seed;
    }

private:
    static bool equalIds(const AssetReference &left, const AssetReference &right);
    static bool lessIds(const AssetReference &left, const AssetReference &right);

    const AssetRecord *m_record = nullptr;
};

} // namespace Tesk::Assets

template<>
struct std::hash<Tesk::Assets::AssetReference>
{
    std::size_t operator()(const Tesk::Assets::AssetReference &reference) const noexcept
    {
        return reference.hash();
    }
};

Q_DECLARE_METATYPE(Tesk::Assets::AssetReference)

namespace Tesk::Data::Serialization {

/// Writes the bytes of the id; empty bytes for a null reference.
ASSETS_EXPORT void serializeToNode(Node &node, const Tesk::Assets::AssetReference &reference);

/// Reads an id as a reference of the database that is decoding on this thread, else of the
/// asset database service; without either a LogicErrorException passes.
ASSETS_EXPORT void deserializeFromNode(const Node &node, Tesk::Assets::AssetReference &reference);

} // namespace Tesk::Data::Serialization
