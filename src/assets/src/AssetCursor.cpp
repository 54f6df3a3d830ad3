#include <assets/AssetCursor.h>

#include <utility>

namespace Tesk::Assets {

AssetCursor::AssetCursor(const Store &store, AssetQuery query, qsizetype pageSize)
    : m_store(store)
    , m_query(std::move(query))
    , m_pageSize(pageSize)
{
    m_page.next = ScanPosition();
}

const AssetRow *AssetCursor::next()
{
    while (m_index == m_page.rows.size()) {
        if (!m_page.next)
            return nullptr;
        m_page = m_store.find(m_query, *m_page.next, m_pageSize);
        m_index = 0;
    }
    return &m_page.rows[m_index++];
}

} // namespace Tesk::Assets
