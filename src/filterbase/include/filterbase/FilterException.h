#pragma once

#include <filterbase/filterbase_export.h>

#include <vantbase/Exception.h>

#include <QString>

#include <string>

namespace Tesk::Exception {

namespace FilterBase {

/// Root of the exceptions that client modules raise about filters; the library raises none.
class FILTERBASE_EXPORT FilterException : public BaseException
{
public:
    explicit FilterException(const char *message);
    explicit FilterException(const std::string &message);
    explicit FilterException(const QString &message);
    FilterException(const FilterException &) noexcept;
    FilterException &operator=(const FilterException &) noexcept;
    ~FilterException() override;
};

} // namespace FilterBase

extern template class FILTERBASE_EXPORT Exception<0, FilterBase::FilterException>;
extern template class FILTERBASE_EXPORT Exception<1, FilterBase::FilterException>;

namespace FilterBase {

/// A filter's name or reference leads to no asset; sub-code 0.
class FILTERBASE_EXPORT UnresolvedFilterException
    : public ::Tesk::Exception::Exception<0, FilterException>
{
public:
    explicit UnresolvedFilterException(const char *message);
    explicit UnresolvedFilterException(const std::string &message);
    explicit UnresolvedFilterException(const QString &message);
    UnresolvedFilterException(const UnresolvedFilterException &) noexcept;
    UnresolvedFilterException &operator=(const UnresolvedFilterException &) noexcept;
    ~UnresolvedFilterException() override;
};

/// A filter's asset is known but not loaded; sub-code 1.
class FILTERBASE_EXPORT UnloadedException : public ::Tesk::Exception::Exception<1, FilterException>
{
public:
    explicit UnloadedException(const char *message);
    explicit UnloadedException(const std::string &message);
    explicit UnloadedException(const QString &message);
    UnloadedException(const UnloadedException &) noexcept;
    UnloadedException &operator=(const UnloadedException &) noexcept;
    ~UnloadedException() override;
};

} // namespace FilterBase

} // namespace Tesk::Exception
