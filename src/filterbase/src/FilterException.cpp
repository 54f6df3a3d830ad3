#include <filterbase/FilterException.h>

namespace Tesk::Exception {

namespace FilterBase {

FilterException::FilterException(const char *message)
    : BaseException(message)
{}

FilterException::FilterException(const std::string &message)
    : BaseException(message)
{}

FilterException::FilterException(const QString &message)
    : BaseException(message)
{}

FilterException::FilterException(const FilterException &) noexcept = default;

FilterException &FilterException::operator=(const FilterException &) noexcept = default;

FilterException::~FilterException() = default;

} // namespace FilterBase

template class Exception<0, FilterBase::FilterException>;
template class Exception<1, FilterBase::FilterException>;

namespace FilterBase {

UnresolvedFilterException::UnresolvedFilterException(const char *message)
    : Exception(message)
{}

UnresolvedFilterException::UnresolvedFilterException(const std::string &message)
    : Exception(message)
{}

UnresolvedFilterException::UnresolvedFilterException(const QString &message)
    : Exception(message)
{}

UnresolvedFilterException::UnresolvedFilterException(const UnresolvedFilterException &) noexcept =
        default;

UnresolvedFilterException &
UnresolvedFilterException::operator=(const UnresolvedFilterException &) noexcept = default;

UnresolvedFilterException::~UnresolvedFilterException() = default;

UnloadedException::UnloadedException(const char *message)
    : Exception(message)
{}

UnloadedException::UnloadedException(const std::string &message)
    : Exception(message)
{}

UnloadedException::UnloadedException(const QString &message)
    : Exception(message)
{}

UnloadedException::UnloadedException(const UnloadedException &) noexcept = default;

UnloadedException &UnloadedException::operator=(const UnloadedException &) noexcept = default;

UnloadedException::~UnloadedException() = default;

} // namespace FilterBase

} // namespace Tesk::Exception
