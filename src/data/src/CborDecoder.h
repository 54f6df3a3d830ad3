#pragma once

#include "Arena.h"
#include "CborFormat.h"

#include <QByteArray>

#include <string>
#include <string_view>

namespace Tesk::Data::Serialization {

class Document;

/// Reads one encoding into the arena of a new document.
class CborDecoder
{
public:
    static Document decode(const QByteArray &bytes);

private:
    using Major = CborFormat::Major;

    /// The first byte of an item and the argument that follows it.
    struct Head
    {
        const uchar *at;
        quint8 info;
        Major major;
        quint64 argument;
    };

    CborDecoder(Arena &arena, const QByteArray &bytes);

    void readDocument();

    Head readHead();
    quint64 readLongArgument(const Head &head);
    quint64 readBigEndian(const uchar *itemAt, int size);
    std::string_view takeString(const Head &head);
    std::string_view readText(const char *what);
    std::string_view readName(const char *what);

    void readContent(quint32 index, int depth, bool isArrayAllowed);
    void readObject(quint32 index, const Head &head, int depth);
    void readArray(quint32 index, const Head &head, int depth);
    void readClassInfo(quint32 object, const uchar *keyAt, bool isFirst);
    void readAttribute(quint32 index);
    void readSimple(quint32 index, const Head &head);
    void readFloat(quint32 index, const Head &head);

    quint32 addSlot(quint32 name);
    quint32 intern(std::string_view name, const uchar *itemAt);
    void enterContainer(const Head &head, quint64 items, quint64 bytesPerItem, int depth);
    void checkNames(quint32 object, const uchar *objectAt);
    [[noreturn]] void failAttribute(const uchar *at, SlotKind kind) const;
    [[noreturn]] void fail(const uchar *at, const std::string &place, const QString &fault) const;

    Arena &m_arena;
    const uchar *m_begin;
    const uchar *m_at;
    const uchar *m_end;
    quint64 m_nodes = 1;
};

} // namespace Tesk::Data::Serialization
