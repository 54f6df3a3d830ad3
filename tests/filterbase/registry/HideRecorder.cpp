#include "HideRecorder.h"

#include <assets/CollectionControl.h>

#include <atomic>
#include <stdexcept>
#include <utility>

#include <dlfcn.h>

namespace FilterBaseTesting {

static std::atomic<HideRecorder *> sRecorder = nullptr;

HideRecorder::HideRecorder()
{
    sRecorder = this;
}

HideRecorder::~HideRecorder()
{
    sRecorder = nullptr;
}

std::vector<HideRecorder::Hide> HideRecorder::take()
{
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_hides, {});
}

void HideRecorder::add(const Tesk::Assets::AssetReference &reference)
{
    const std::lock_guard lock(m_mutex);
    m_hides.push_back({reference, std::this_thread::get_id()});
}

} // namespace FilterBaseTesting

namespace Tesk::Assets::CollectionControl {

// The loader takes the program's definition for every library's calls; the one of the library
// that defines it comes next.
void hideAsset(const AssetReference &reference)
{
    using Hide = void (*)(const AssetReference &);
    static const auto sNext = reinterpret_cast<Hide>(dlsym(
            RTLD_NEXT, "_ZN4Tesk6Assets17CollectionControl9hideAssetERKNS0_14AssetReferenceE"));
    if (sNext == nullptr)
        throw std::logic_error("hideAsset of the library was not found");
    if (FilterBaseTesting::HideRecorder *recorder = FilterBaseTesting::sRecorder)
        recorder->add(reference);
    sNext(reference);
}

} // namespace Tesk::Assets::CollectionControl
