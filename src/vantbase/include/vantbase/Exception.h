#pragma once

#include <vantbase/vantbase_export.h>

#include <QString>

#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace Tesk::Exception {

/// Root of every exception of this system: a message, and a trace of the places it came through.
///
/// Copies are cheap and never fail; a moved-from exception keeps its message.
/// Threads: an exception that another thread may see must not be given a trace any more.
class VANTBASE_EXPORT BaseException : public std::exception
{
public:
    explicit BaseException(const char *message);
    explicit BaseException(const std::string &message);
    explicit BaseException(const QString &message);
    BaseException(const BaseException &) noexcept = default;
    BaseException &operator=(const BaseException &) noexcept = default;
    ~BaseException() override;

    /// The message as it was given, in UTF-8; stays where it is until the last copy is gone.
    const char *what() const noexcept override;

    /// Tells the kinds of one family apart; -1 where a family numbers none.
    virtual int errorSubCode() const;

    /// The names added so far, the innermost first.
    const std::vector<std::string> &trace() const;

    /// Appends a name to the trace of this exception, not to that of its copies.
    void addTrace(std::string name);

private:
    // Shared, so that copying cannot throw while an exception is in flight.
    std::shared_ptr<const std::string> m_message;
    std::shared_ptr<const std::vector<std::string>> m_trace; // null while empty
};

/// Kind number \a SubCode of the family whose root is \a Base.
///
/// An instantiation that crosses shared objects needs an `extern template class` with the
/// export macro of the library that defines it, so that all of them share one type_info.
template<int SubCode, class Base>
class Exception : public Base
{
public:
    explicit Exception(const char *message)
        : Base(message)
    {}
    explicit Exception(const std::string &message)
        : Base(message)
    {}
    explicit Exception(const QString &message)
        : Base(message)
    {}
    Exception(const Exception &) noexcept = default;
    Exception &operator=(const Exception &) noexcept = default;
    Exception &operator=(Exception &&) noexcept = default; // copies: the source stays whole
    ~Exception() override = default;

    int errorSubCode() const override { return SubCode; }
};

/// The caller passed something that the callee cannot use.
class VANTBASE_EXPORT ParameterException : public BaseException
{
public:
    using BaseException::BaseException;
    ParameterException(const ParameterException &) noexcept = default;
    ParameterException &operator=(const ParameterException &) noexcept = default;
    ~ParameterException() override;
};

/// The callee cannot go on.
class VANTBASE_EXPORT InternalException : public BaseException
{
public:
    using BaseException::BaseException;
    InternalException(const InternalException &) noexcept = default;
    InternalException &operator=(const InternalException &) noexcept = default;
    ~InternalException() override;
};

/// A read-only field was written.
class VANTBASE_EXPORT ReadOnlyException : public BaseException
{
public:
    using BaseException::BaseException;
    ReadOnlyException(const ReadOnlyException &) noexcept = default;
    ReadOnlyException &operator=(const ReadOnlyException &) noexcept = default;
    ~ReadOnlyException() override;
};

namespace Data {

/// Stored content cannot be read or written.
class VANTBASE_EXPORT SerializationException : public BaseException
{
public:
    using BaseException::BaseException;
    SerializationException(const SerializationException &) noexcept = default;
    SerializationException &operator=(const SerializationException &) noexcept = default;
    ~SerializationException() override;
};

} // namespace Data

extern template class VANTBASE_EXPORT Exception<0, InternalException>;
extern template class VANTBASE_EXPORT Exception<1, InternalException>;
extern template class VANTBASE_EXPORT Exception<1, ParameterException>;
extern template class VANTBASE_EXPORT Exception<3, Data::SerializationException>;

/// An argument breaks the contract of the operation.
class VANTBASE_EXPORT InvalidArgumentException : public Exception<1, ParameterException>
{
public:
    using Exception::Exception;
    InvalidArgumentException(const InvalidArgumentException &) noexcept = default;
    InvalidArgumentException &operator=(const InvalidArgumentException &) noexcept = default;
    ~InvalidArgumentException() override;
};

/// The program is put together wrongly: a service is missing, an order of calls is broken.
class VANTBASE_EXPORT LogicErrorException : public Exception<0, InternalException>
{
public:
    using Exception::Exception;
    LogicErrorException(const LogicErrorException &) noexcept = default;
    LogicErrorException &operator=(const LogicErrorException &) noexcept = default;
    ~LogicErrorException() override;
};

/// Something outside the program's control failed.
class VANTBASE_EXPORT RuntimeErrorException : public Exception<1, InternalException>
{
public:
    using Exception::Exception;
    RuntimeErrorException(const RuntimeErrorException &) noexcept = default;
    RuntimeErrorException &operator=(const RuntimeErrorException &) noexcept = default;
    ~RuntimeErrorException() override;
};

namespace Data {

/// A required part of stored content is missing.
class VANTBASE_EXPORT NotFoundException
    : public ::Tesk::Exception::Exception<3, SerializationException>
{
public:
    using Exception::Exception;
    NotFoundException(const NotFoundException &) noexcept = default;
    NotFoundException &operator=(const NotFoundException &) noexcept = default;
    ~NotFoundException() override;
};

} // namespace Data

} // namespace Tesk::Exception
