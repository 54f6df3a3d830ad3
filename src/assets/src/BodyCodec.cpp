#include "BodyCodec.h"

#include "BodyHash.h"

#include <assets/Asset.h>
#include <data/Cbor.h>
#include <data/Document.h>
#include <data/Serialization.h>
#include <vantbase/Exception.h>

namespace Tesk::Assets::BodyCodec {

using Data::SerializableData;
using Data::Serialization::Document;
using Data::Serialization::Node;

BodyRow encode(const Asset &asset)
{
    const Document document;
    Node root = document.root();
    Data::Serialization::serializeToNode(root, static_cast<const SerializableData &>(asset));
    BodyRow body{BodyRow::sCbor, Data::Serialization::toCbor(document)};
    body.hash = bodyHash(body.data); // here, as several threads may encode at once
    return body;
}

void decode(const BodyRow &body, Asset &asset)
{
    if (body.encoding != BodyRow::sCbor) {
        throw Exception::Data::SerializationException(
                QStringLiteral("Unknown body encoding %1: expected %2")
                        .arg(QString::number(body.encoding), QString::number(BodyRow::sCbor)));
    }
    const Document document = Data::Serialization::fromCbor(body.data);
    Data::Serialization::deserializeFromNode(document.root(),
                                             static_cast<SerializableData &>(asset));
}

QString describe(const Exception::BaseException &error)
{
    QString text = QString::fromUtf8(error.what());
    QString path;
    for (const std::string &name : error.trace())
        path.prepend(QLatin1Char('/') + QString::fromStdString(name));
    return path.isEmpty() ? text : QStringLiteral("%1 (in \"%2\")").arg(text, path.mid(1));
}

} // namespace Tesk::Assets::BodyCodec
