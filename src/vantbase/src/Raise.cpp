#include <vantbase/Raise.h>

#include <vantbase/Exception.h>
#include <vantbase/Logger.h>

namespace Tesk::VantBase {

namespace {

template<class Raised>
[[noreturn]] void logAndThrow(const std::string &place, const QString &message)
{
    const std::string text = message.toStdString();
    logger(LogService::Filter).record(LogLevel::Error, place) << text;
    throw Raised(text);
}

} // namespace

void raiseInvalidArgument(const std::string &place, const QString &message)
{
    logAndThrow<Exception::InvalidArgumentException>(place, message);
}

void raiseNotFound(const std::string &place, const QString &message)
{
    logAndThrow<Exception::Data::NotFoundException>(place, message);
}

void raiseRuntimeError(const std::string &place, const QString &message)
{
    logAndThrow<Exception::RuntimeErrorException>(place, message);
}

} // namespace Tesk::VantBase
