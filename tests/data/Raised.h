#pragma once

#include <vantbase/Exception.h>

#include <functional>
#include <string>

namespace Tesk::Data::Serialization {

/// The message of the SerializationException that \a action raises; "" when it raises none.
inline std::string raisedBy(const std::function<void()> &action)
{
    try {
        action();
    } catch (const Exception::Data::SerializationException &error) {
        return error.what();
    }
    return {};
}

} // namespace Tesk::Data::Serialization
