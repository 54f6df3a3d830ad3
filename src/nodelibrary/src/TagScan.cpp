#include "TagScan.h"

namespace Tesk::NodeLibrary {

// The position behind the next \a end, or the end of all.
static qsizetype skipPast(QByteArrayView bytes, qsizetype from, QByteArrayView end)
{
    const qsizetype found = bytes.indexOf(end, from);
    return found < 0 ? bytes.size() : found + end.size();
}

static qsizetype skipPast(QByteArrayView bytes, qsizetype from, char end)
{
    const qsizetype found = bytes.indexOf(end, from);
    return found < 0 ? bytes.size() : found + 1;
}

// Goes through a tag whose name begins at \a at; counts "=" outside of quotes.
static qsizetype skipTag(QByteArrayView bytes, qsizetype at, int &attributes)
{
    while (at < bytes.size() && bytes[at] != '>') {
        const char c = bytes[at];
        if (c == '=')
            ++attributes;
        at = c == '"' || c == '\'' ? skipPast(bytes, at + 1, c) : at + 1;
    }
    return at;
}

qsizetype TagScan::findCrowdedTag(QByteArrayView bytes, int most)
{
    qsizetype at = 0;
    while ((at = skipPast(bytes, at, '<')) < bytes.size()) {
        const QByteArrayView rest = bytes.sliced(at);
        if (rest.startsWith("!--")) {
            at = skipPast(bytes, at + 3, "-->");
        } else if (rest.startsWith("![CDATA[")) {
            at = skipPast(bytes, at, "]]>");
        } else if (rest.startsWith('?')) {
            at = skipPast(bytes, at, "?>");
        } else {
            int attributes = 0;
            at = skipTag(bytes, at, attributes);
            if (attributes > most)
                return at;
        }
    }
    return -1;
}

} // namespace Tesk::NodeLibrary
