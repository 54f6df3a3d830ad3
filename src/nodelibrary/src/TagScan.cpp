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

// Quick: true if two "<" are so far apart that the first may begin a crowded tag. The XML parser
// takes no "<" inside of a tag, and an attribute fills five bytes at least, as `a="" ` does.
static bool mayHaveCrowdedTag(QByteArrayView bytes, int most)
{
    const qsizetype shortest = qsizetype{5} * most;
    qsizetype at = 0;
    while (at < bytes.size()) {
        const qsizetype next = skipPast(bytes, at, '<');
        if (next - at > shortest)
            return true;
        at = next;
    }
    return false;
}

qsizetype TagScan::findCrowdedTag(QByteArrayView bytes, int most)
{
    if (!mayHaveCrowdedTag(bytes, most))
        return -1;
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
