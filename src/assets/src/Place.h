#pragma once

#include <vantbase/Location.h>

#include <string>

namespace Tesk::Assets {

/// A place in the source that costs nothing until somebody asks for its text.
struct Place
{
    const char *file;
    int line;
    const char *signature;

    std::string text() const { return VantBase::placeText(file, line, signature); }
};

} // namespace Tesk::Assets

#define TESK_PLACE (::Tesk::Assets::Place{__FILE__, __LINE__, __PRETTY_FUNCTION__})
