#include <data/RaiseSerialization.h>

#include <vantbase/Exception.h>
#include <vantbase/Logger.h>

namespace Tesk::Data {

void raiseSerialization(const std::string &place, const QString &message)
{
    VantBase::logger(VantBase::LogService::Data).record(VantBase::LogLevel::Error, place)
            << message;
    throw Exception::Data::SerializationException(message);
}

} // namespace Tesk::Data
