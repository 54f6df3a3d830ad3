#pragma once

#include <data/Cbor.h>
#include <data/Document.h>
#include <data/Serialization.h>

#include <QByteArray>

namespace RenderableBaseTesting {

/// The stored form of a value.
template<class T>
QByteArray stored(const T &value)
{
    Tesk::Data::Serialization::Document document;
    Tesk::Data::Serialization::Node root = document.root();
    serializeToNode(root, value);
    return Tesk::Data::Serialization::toCbor(document);
}

/// Fills a value from its stored form.
template<class T>
void readStored(const QByteArray &bytes, T &value)
{
    const Tesk::Data::Serialization::Document document = Tesk::Data::Serialization::fromCbor(bytes);
    deserializeFromNode(document.root(), value);
}

} // namespace RenderableBaseTesting
