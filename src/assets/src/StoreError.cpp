#include <assets/StoreError.h>

#include <vantbase/Logger.h>

namespace Tesk::Assets {

StoreError::StoreError(Code code, const QString &message, const QByteArray &assetId)
    : Exception::BaseException(message)
    , m_code(code)
    , m_assetId(assetId)
{}

StoreError::~StoreError() = default;

void raiseStoreError(const std::string &place, StoreError::Code code, const QString &message,
                     const QByteArray &assetId)
{
    VantBase::logger(VantBase::LogService::Assets).record(VantBase::LogLevel::Error, place)
            << message;
    throw StoreError(code, message, assetId);
}

} // namespace Tesk::Assets
