#include "EncodingAhead.h"

#include <algorithm>

namespace Tesk::Assets {

static constexpr std::size_t sPortion = 32; // so that telling costs nothing beside encoding

EncodingAhead::EncodingAhead(std::span<EncodedAsset> assets)
    : m_assets(assets)
    , m_portions((assets.size() + sPortion - 1) / sPortion)
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
    if (std::find(m_isFree.begin(), m_isFree.end(), true) != m_isFree.end()) {
        m_thread = std::thread([this] { work(); });
    } else {
        m_portions.assign(m_portions.size(), {.isDone = true, .failure = nullptr});
        m_taken = m_portions.size();
    }
}

EncodingAhead::~EncodingAhead()
{
    {
        const std::lock_guard lock(m_mutex);
        m_taken = m_portions.size();
    }
    if (m_thread.joinable())
        m_thread.join();
}

std::size_t EncodingAhead::encodedAfter(std::size_t count)
{
    const std::size_t first = count / sPortion;
    while (!isDone(first)) {
        const auto taken = takePortion();
        if (!taken)
            break;
        encode(*taken);
    }
    std::unique_lock lock(m_mutex);
    m_told.wait(lock, [&] { return m_portions[first].isDone; });
    if (m_portions[first].failure)
        std::rethrow_exception(m_portions[first].failure);
    const auto last =
            std::find_if(m_portions.begin() + static_cast<std::ptrdiff_t>(first), m_portions.end(),
                         [](const Portion &each) { return !each.isDone || each.failure; });
    const auto encoded = static_cast<std::size_t>(last - m_portions.begin()) * sPortion;
    return std::min(encoded, m_assets.size());
}

bool EncodingAhead::isDone(std::size_t portion)
{
    const std::lock_guard lock(m_mutex);
    return m_portions[portion].isDone;
}

std::optional<std::size_t> EncodingAhead::takePortion()
{
    const std::lock_guard lock(m_mutex);
    if (m_taken == m_portions.size())
        return std::nullopt;
    return m_taken++;
}

void EncodingAhead::encode(std::size_t portion)
{
    Portion done{.isDone = true, .failure = nullptr};
    const std::size_t begin = portion * sPortion;
    const std::size_t end = std::min(begin + sPortion, m_assets.size());
    try {
        for (std::size_t at = begin; at < end; ++at) {
            if (m_isFree[at])
                m_assets[at].encode();
        }
    } catch (...) {
        done.failure = std::current_exception();
    }
    const std::lock_guard lock(m_mutex);
    m_portions[portion] = done;
    m_told.notify_one();
}

void EncodingAhead::work()
{
    while (const auto portion = takePortion())
        encode(*portion);
}

} // namespace Tesk::Assets
