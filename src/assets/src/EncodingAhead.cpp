#include "EncodingAhead.h"

#include <algorithm>

namespace Tesk::Assets {

EncodingAhead::EncodingAhead(std::span<EncodedAsset> assets)
    : m_assets(assets)
{
    static constexpr std::ptrdiff_t sFewestForAThread = 100;
    for (const EncodedAsset &entry : assets)
        m_isFree.push_back(entry.isFree());
    const auto free = std::count(m_isFree.begin(), m_isFree.end(), true);
    if (free < sFewestForAThread || std::thread::hardware_concurrency() < 2)
        m_isFree.assign(assets.size(), false);
    for (std::size_t at = 0; at < assets.size(); ++at) {
        if (!m_isFree[at])
            assets[at].encode();
    }
    if (std::find(m_isFree.begin(), m_isFree.end(), true) == m_isFree.end())
        m_encoded = assets.size();
    else
        m_thread = std::thread([this] { work(); });
}

EncodingAhead::~EncodingAhead()
{
    m_isStopped = true;
    if (m_thread.joinable())
        m_thread.join();
}

std::size_t EncodingAhead::encodedAfter(std::size_t count)
{
    std::unique_lock lock(m_mutex);
    m_told.wait(lock, [&] { return m_encoded > count || m_failure; });
    if (m_encoded <= count)
        std::rethrow_exception(m_failure);
    return m_encoded;
}

void EncodingAhead::work()
{
    static constexpr std::size_t sStep = 64; // so that telling costs nothing beside encoding
    try {
        for (std::size_t at = 0; at < m_assets.size() && !m_isStopped; ++at) {
            if (m_isFree[at])
                m_assets[at].encode();
            if ((at + 1) % sStep == 0)
                tell(at + 1);
        }
        tell(m_assets.size());
    } catch (...) {
        const std::lock_guard lock(m_mutex);
        m_failure = std::current_exception();
        m_told.notify_one();
    }
}

void EncodingAhead::tell(std::size_t encoded)
{
    const std::lock_guard lock(m_mutex);
    m_encoded = encoded;
    m_told.notify_one();
}

} // namespace Tesk::Assets
