#pragma once

#include <data/data_export.h>

#include <data/Document.h>

#include <QByteArray>

namespace Tesk::Data::Serialization {

/// What an encoding may hold at most; beyond it both writing and reading raise.
struct CborLimits
{
    static constexpr qsizetype sMaxBytes = qsizetype(64) << 20;
    static constexpr int sMaxDepth = 64; ///< nested objects and arrays, the root counted
    static constexpr quint32 sMaxNodes = quint32(1) << 22; ///< objects, arrays, items, attributes
    static constexpr quint32 sMaxNames = quint32(1) << 16; ///< distinct names
    static constexpr qsizetype sMaxNameBytes = 255;        ///< of node, item and class names
};

/// The stored form of \a node: its content, not its name. Equal content gives equal bytes.
///
/// Raises a SerializationException when a limit is exceeded.
DATA_EXPORT QByteArray toCbor(const Node &node);
DATA_EXPORT QByteArray toCbor(const Document &document);

/// Reads what toCbor() wrote, and nothing else: toCbor() gives the same bytes again.
///
/// The document keeps \a bytes; its texts are views into them. Bytes made with
/// QByteArray::fromRawData() must outlive it.
/// Raises a SerializationException that says at which byte what is wrong.
DATA_EXPORT Document fromCbor(const QByteArray &bytes);

} // namespace Tesk::Data::Serialization
