#pragma once

#include <assets/AssetReference.h>

#include <memory>

namespace Tesk::FilterBase {

/// A filter that is answering a question, as long as this object lives.
///
/// Filters answer from their implementations. A stored filter may name itself among those, or a
/// filter that names it; this is how the question is seen to come back, before the stack ends.
///
/// Threads: each thread has questions of its own; one that waits is carried on by its lineage.
class Answering
{
public:
    enum class Question {
        Description,
        SourceFile,
        SourceFiles,
        ForgetFile,
        ThumbnailPath,
        Thumbnail,
        Signature,
    };

    struct Link;
    /// Who has been asked so far on the way here; null outside of any question.
    using Lineage = std::shared_ptr<const Link>;

    /// A filter that is filed nowhere cannot be named, so for its null reference nothing is done.
    Answering(const Assets::AssetReference &filter, Question question);
    /// Goes on, perhaps on another thread, with a question that had to wait.
    explicit Answering(Lineage lineage);
    ~Answering();
    Answering(const Answering &) = delete;
    Answering &operator=(const Answering &) = delete;

    /// Whether the filter is being asked this very question already.
    bool isRepeated() const { return m_isRepeated; }

    static Lineage lineage();

private:
    Lineage m_before; // of this thread, until this object dies
    bool m_isRepeated = false;
};

} // namespace Tesk::FilterBase
