#include <vantbase/Exception.h>

#include <utility>

namespace Tesk::Exception {

BaseException::BaseException(const char *message)
    : BaseException(std::string(message ? message : ""))
{}

BaseException::BaseException(const std::string &message)
    : m_message(std::make_shared<const std::string>(message))
{}

BaseException::BaseException(const QString &message)
    : BaseException(message.toStdString())
{}

BaseException::~BaseException() = default;

const char *BaseException::what() const noexcept
{
    return m_message->c_str();
}

int BaseException::errorSubCode() const
{
    return -1;
}

const std::vector<std::string> &BaseException::trace() const
{
    static const std::vector<std::string> sEmptyTrace;
    return m_trace ? *m_trace : sEmptyTrace;
}

void BaseException::addTrace(std::string name)
{
    // A new list instead of a changed one: copies share the old.
    auto longer = std::make_shared<std::vector<std::string>>();
    longer->reserve(trace().size() + 1);
    *longer = trace();
    longer->push_back(std::move(name));
    m_trace = std::move(longer);
}

// The destructors anchor each class's vtable and type_info in this library.
ParameterException::~ParameterException() = default;
InternalException::~InternalException() = default;
ReadOnlyException::~ReadOnlyException() = default;
Data::SerializationException::~SerializationException() = default;

template class Exception<0, InternalException>;
template class Exception<1, InternalException>;
template class Exception<1, ParameterException>;
template class Exception<3, Data::SerializationException>;

InvalidArgumentException::~InvalidArgumentException() = default;
LogicErrorException::~LogicErrorException() = default;
RuntimeErrorException::~RuntimeErrorException() = default;
Data::NotFoundException::~NotFoundException() = default;

} // namespace Tesk::Exception
