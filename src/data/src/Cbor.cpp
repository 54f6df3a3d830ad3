#include <data/Cbor.h>

#include "CborDecoder.h"
#include "CborEncoder.h"

namespace Tesk::Data::Serialization {

QByteArray toCbor(const Node &node)
{
    return CborEncoder::encode(node);
}

QByteArray toCbor(const Document &document)
{
    return CborEncoder::encode(document.root());
}

Document fromCbor(const QByteArray &bytes)
{
    return CborDecoder::decode(bytes);
}

} // namespace Tesk::Data::Serialization
