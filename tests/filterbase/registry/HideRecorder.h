#pragma once

#include <assets/AssetReference.h>

#include <mutex>
#include <thread>
#include <vector>

namespace FilterBaseTesting {

/// Records each call of CollectionControl::hideAsset() in this process, and lets it happen.
///
/// A hide of what is hidden leaves no trace in a database, but it is a call all the same.
class HideRecorder
{
public:
    struct Hide
    {
        Tesk::Assets::AssetReference reference;
        std::thread::id thread;
    };

    HideRecorder();
    ~HideRecorder();
    HideRecorder(const HideRecorder &) = delete;
    HideRecorder &operator=(const HideRecorder &) = delete;

    /// The calls since the last time.
    std::vector<Hide> take();

    void add(const Tesk::Assets::AssetReference &reference);

private:
    std::mutex m_mutex;
    std::vector<Hide> m_hides; // guarded by m_mutex
};

} // namespace FilterBaseTesting
