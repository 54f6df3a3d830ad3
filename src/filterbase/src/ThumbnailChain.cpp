#include "ThumbnailChain.h"

#include "Answering.h"

#include <assets/Asset.h>
#include <futures/promise.h>

#include <exception>
#include <utility>

namespace Tesk::FilterBase {

namespace {

using SurfacePtr = std::shared_ptr<Surfaces::Surface>;

/// One search. A single thread at a time works on it: the one that completed the last answer.
class ThumbnailChain : public std::enable_shared_from_this<ThumbnailChain>
{
public:
    ThumbnailChain(std::vector<Assets::AssetReference> references, std::stop_token stopToken)
        : m_references(std::move(references))
        , m_stopToken(std::move(stopToken))
    {}

    future<SurfacePtr> result() const { return m_result.get_future(); }

    // Answers that are there already are taken in a loop: a long list needs no deep stack.
    void run()
    {
        try {
            while (m_next < m_references.size()) {
                m_asked = m_references[m_next++].asset();
                if (!m_asked)
                    continue;
                const future<SurfacePtr> answer = ask();
                if (!answer.is_valid())
                    continue;
                if (!answer.is_ready()) {
                    answer.then([self = shared_from_this()](const future<SurfacePtr> &late) {
                        self->goOn(late);
                    });
                    return; // whatever this object holds now belongs to the continuation
                }
                if (takes(answer))
                    return;
            }
            m_result.set_value(SurfacePtr());
        } catch (...) {
            fail();
        }
    }

private:
    // Not longer than this: whoever waits for the result is not asked by anybody here.
    future<SurfacePtr> ask() const
    {
        const Answering answering(m_lineage);
        return m_asked->getEmbeddedThumbnail(m_stopToken);
    }

    void goOn(const future<SurfacePtr> &answer)
    {
        try {
            if (takes(answer))
                return;
        } catch (...) {
            fail();
            return;
        }
        run();
    }

    /// Returns whether the search is over. Raises what the answer holds.
    bool takes(const future<SurfacePtr> &answer)
    {
        const SurfacePtr &surface = answer.get();
        m_asked.reset();
        if (!surface)
            return false;
        m_result.set_value(surface);
        return true;
    }

    void fail()
    {
        m_asked.reset();
        m_result.set_exception(std::current_exception());
    }

    const std::vector<Assets::AssetReference> m_references;
    const std::stop_token m_stopToken;
    const Answering::Lineage m_lineage = Answering::lineage();
    std::size_t m_next = 0;
    std::shared_ptr<Assets::Asset> m_asked; // kept alive while it is asked
    promise<SurfacePtr> m_result;
};

} // namespace

future<SurfacePtr> firstThumbnail(std::vector<Assets::AssetReference> references,
                                  std::stop_token stopToken)
{
    const auto chain =
            std::make_shared<ThumbnailChain>(std::move(references), std::move(stopToken));
    future<SurfacePtr> result = chain->result();
    chain->run();
    return result;
}

} // namespace Tesk::FilterBase
