#pragma once

#include <assets/assets_export.h>
#include <assets/Store.h>

namespace Tesk::Assets {

/// Walks over the assets that match a query, reading them page by page as they are asked for.
///
/// Holds nothing in the store between two pages: what is written meanwhile may or may not be seen.
///
/// Ownership: borrows the store. Threads: not thread-safe. Errors: what the store raises.
class ASSETS_EXPORT AssetCursor
{
public:
    AssetCursor(const Store &store, AssetQuery query, qsizetype pageSize = 256);

    /// Returns the next row, null at the end; valid until the next call.
    const AssetRow *next();

private:
    const Store &m_store;
    AssetQuery m_query;
    qsizetype m_pageSize;
    AssetPage m_page;
    std::size_t m_index = 0;
};

} // namespace Tesk::Assets
