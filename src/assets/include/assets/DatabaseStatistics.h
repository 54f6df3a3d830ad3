#pragma once

#include <cstddef>

namespace Tesk::Assets {

/// How much a database holds, on disk and in memory.
struct DatabaseStatistics
{
    std::size_t storedAssets = 0;   ///< in the store
    std::size_t internalAssets = 0; ///< of this session only
    std::size_t liveAssets = 0;     ///< objects in memory, shells included
    std::size_t shells = 0;         ///< objects whose body was not read yet
    std::size_t knownIds = 0;       ///< records of references
    std::size_t recordBytes = 0;    ///< memory of these records and their table
};

} // namespace Tesk::Assets
