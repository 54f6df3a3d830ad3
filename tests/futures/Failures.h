#pragma once

#include <futures/future.h>

#include <exception>
#include <stdexcept>
#include <string>

namespace Tesk {

inline std::exception_ptr failureSaying(const char *text)
{
    return std::make_exception_ptr(std::runtime_error(text));
}

/// The text of the exception that \a result fails with; "no failure" where it has a value.
template<class T>
std::string failureOf(const future<T> &result)
{
    try {
        result.get();
    } catch (const std::exception &error) {
        return error.what();
    }
    return "no failure";
}

} // namespace Tesk
