#pragma once

namespace Tesk::Assets {

class AssetTable;

/// Tells references which database the body is of that this thread decodes.
///
/// Scopes may lie inside each other: a body may touch another one while it is decoded.
class DecodingScope
{
public:
    explicit DecodingScope(AssetTable &table)
        : m_outer(sTable)
    {
        sTable = &table;
    }
    ~DecodingScope() { sTable = m_outer; }
    DecodingScope(const DecodingScope &) = delete;
    DecodingScope &operator=(const DecodingScope &) = delete;

    /// Null when this thread decodes nothing.
    static AssetTable *table() { return sTable; }

private:
    static thread_local AssetTable *sTable;

    AssetTable *m_outer;
};

} // namespace Tesk::Assets
