#include "StandIns.h"

#include <data/Cbor.h>
#include <data/Serialization.h>

#include <support/DeferredDeletes.h>

#include <vantbase/Exception.h>
#include <vantbase/Logger.h>

#include <QCoreApplication>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Whatever a document says, reading an object from it must end in the object or in a
// SerializationException; an object that was read must be written and read again unchanged.

using namespace Tesk;
using namespace Tesk::Data;

namespace {

QByteArray write(const Owner &owner)
{
    const Serialization::Document document;
    Serialization::Node root = document.root();
    serializeToNode(root, owner);
    return Serialization::toCbor(document);
}

bool read(const QByteArray &bytes, Owner &owner)
{
    try {
        const Serialization::Document document = Serialization::fromCbor(bytes);
        deserializeFromNode(document.root(), owner);
        return true;
    } catch (const Exception::Data::SerializationException &) {
        return false;
    }
}

void checkOne(const QByteArray &bytes)
{
    Owner owner;
    if (!read(bytes, owner))
        return;
    const QByteArray written = write(owner);
    Owner again;
    if (!read(written, again) || write(again) != written) {
        std::fprintf(stderr, "an object that was read is written in another way\n");
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argumentCount, char ***arguments)
{
    static const QCoreApplication application(*argumentCount, *arguments);
    VantBase::setLogSink([](const VantBase::LogMessage &) {});
    registerStandIns();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    checkOne(QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)));
    TestSupport::drainDeferredDeletes();
    return 0;
}
