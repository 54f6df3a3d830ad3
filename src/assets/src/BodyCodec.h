#pragma once

#include <assets/StoreRows.h>

#include <QString>

namespace Tesk::Exception {
class BaseException;
}

namespace Tesk::Assets {

class Asset;

/// Bodies of assets as bytes: the fields in the CBOR form of the node tree.
namespace BodyCodec {

BodyRow encode(const Asset &asset);

/// Fills \a asset, which runs onLoadedFromDisk(). Raises a SerializationException.
void decode(const BodyRow &body, Asset &asset);

/// Returns the message with the path of nodes that the error came through.
QString describe(const Exception::BaseException &error);

} // namespace BodyCodec

} // namespace Tesk::Assets
