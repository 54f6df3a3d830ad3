#pragma once

#include <string_view>

namespace Tesk::VantBase {

/// Returns the number by which a service class is registered: FNV-1a, 64 bits, of its name.
///
/// The same in every process and build; \a qualifiedClassName is as written in C++.
constexpr unsigned long long typeIdOf(std::string_view qualifiedClassName)
{
    unsigned long long hash = 0xcbf29ce484222325ULL;
    for (const char character : qualifiedClassName) {
        hash ^= static_cast<unsigned char>(character);
        hash *= 0x100000001b3ULL;
    }
    return hash;
}

} // namespace Tesk::VantBase
