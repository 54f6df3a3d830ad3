#pragma once

#include <vantbase/vantbase_export.h>

#include <string>
#include <string_view>

/// The place where it stands, as a std::string: "File.cpp:12 Tesk::Module::Class::function()".
///
/// Neither directories nor parameters nor template arguments; a lambda is "<lambda>".
#define TESK_HERE ::Tesk::VantBase::placeText(__FILE__, __LINE__, __PRETTY_FUNCTION__)

namespace Tesk::VantBase {

/// Returns what follows the last "/" or "\" of \a path; all of it where there is none.
constexpr std::string_view fileNameOf(std::string_view path)
{
    const auto separator = path.find_last_of("/\\");
    return separator == std::string_view::npos ? path : path.substr(separator + 1);
}

/// Returns the qualified name in \a signature, a function as the compiler prints it.
///
/// GCC and clang print differently; the name is the same from both.
VANTBASE_EXPORT std::string functionNameOf(std::string_view signature);

/// Returns the text behind TESK_HERE.
VANTBASE_EXPORT std::string placeText(std::string_view path, int line, std::string_view signature);

} // namespace Tesk::VantBase
