#pragma once

#include <data/Cbor.h>
#include <data/Document.h>
#include <data/SerializableData.h>
#include <data/Serialization.h>

#include <QByteArray>

namespace FilterBaseTesting {

/// The stored form of an object.
inline QByteArray stored(const Tesk::Data::SerializableData &object)
{
    Tesk::Data::Serialization::Document document;
    Tesk::Data::Serialization::Node root = document.root();
    serializeToNode(root, object);
    return Tesk::Data::Serialization::toCbor(document);
}

/// Fills an object from a stored form.
inline void readStored(const QByteArray &bytes, Tesk::Data::SerializableData &object)
{
    const auto document = Tesk::Data::Serialization::fromCbor(bytes);
    deserializeFromNode(document.root(), object);
}

} // namespace FilterBaseTesting
