#include <vantbase/FileUtils.h>

#include <QCryptographicHash>

namespace Tesk::VantBase::FileUtils {

QByteArray dataToHash(const QByteArray &data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Blake2b_256).toHex();
}

} // namespace Tesk::VantBase::FileUtils
