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

    Head readHead()
    {
        if (m_at == m_end) [[unlikely]]
            failAtEnd();
        const uchar *const at = m_at++;
        const quint8 info = *at & CborFormat::infoMask;
        const quint64 argument = info < CborFormat::oneByte ? info : readLongArgument(at);
        return {at, info, static_cast<Major>(*at >> CborFormat::majorShift), argument};
    }
    quint64 readLongArgument(const uchar *itemAt);
    quint64 readBigEndian(const uchar *itemAt, int size);
    std::string_view takeString(const Head &head)
    {
        if (head.argument > static_cast<quint64>(m_end - m_at)) [[unlikely]]
            failCutString(head);
        const std::string_view string(reinterpret_cast<const char *>(m_at), head.argument);
        m_at += head.argument;
        return string;
    }
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
    [[noreturn]] void failAtEnd() const;
    [[noreturn]] void failCutString(const Head &head) const;
    [[noreturn]] void failAttribute(const uchar *at, SlotKind kind) const;
    [[noreturn]] void fail(const uchar *at, const std::string &place, const QString &fault) const;

    Arena &m_arena;
    const uchar *m_begin;
    const uchar *m_at;
    const uchar *m_end;
    quint64 m_nodes = 1;
};

} // namespace Tesk::Data::Serialization
