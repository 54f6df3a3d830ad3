#include "BodyHash.h"

namespace Tesk::Assets {

qint64 bodyHash(const QByteArray &data)
{
    quint64 hash = 0xcbf29ce484222325ULL;
    for (const char unit : data) {
        hash ^= static_cast<unsigned char>(unit);
        hash *= 0x100000001b3ULL;
    }
    return static_cast<qint64>(hash);
}

} // namespace Tesk::Assets
