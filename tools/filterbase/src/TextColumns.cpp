#include "TextColumns.h"

#include <QChar>

#include <algorithm>
#include <array>
#include <utility>

namespace Tesk::Command {

// What terminals show two columns wide: the blocks of East Asian letters and of pictures.
static constexpr std::array<std::pair<char32_t, char32_t>, 12> sWide{{
        {0x1100, 0x115F},
        {0x2E80, 0x303E},
        {0x3041, 0xA4CF},
        {0xAC00, 0xD7A3},
        {0xF900, 0xFAFF},
        {0xFE30, 0xFE6F},
        {0xFF00, 0xFF60},
        {0xFFE0, 0xFFE6},
        {0x1F300, 0x1F64F},
        {0x1F680, 0x1F6FF},
        {0x1F900, 0x1F9FF},
        {0x20000, 0x3FFFD},
}};

namespace {

// A character of the text, both halves of a surrogate pair together.
struct Character
{
    qsizetype size = 1;
    int width = 1;
};

} // namespace

static int widthOfCode(char32_t code)
{
    switch (QChar::category(code)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
    case QChar::Other_Format:
        return 0;
    default:
        break;
    }
    const bool isWide = std::any_of(sWide.begin(), sWide.end(), [code](const auto &block) {
        return block.first <= code && code <= block.second;
    });
    return isWide ? 2 : 1;
}

static Character characterAt(QStringView text, qsizetype at)
{
    const QChar first = text[at];
    if (first.isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate())
        return {2, widthOfCode(QChar::surrogateToUcs4(first, text[at + 1]))};
    return {1, widthOfCode(first.unicode())};
}

int TextColumns::widthOf(QStringView text)
{
    int width = 0;
    for (qsizetype at = 0; at < text.size();) {
        const Character character = characterAt(text, at);
        width += character.width;
        at += character.size;
    }
    return width;
}

QString TextColumns::padded(const QString &text, int width)
{
    return text + QString(std::max(width - widthOf(text), 0), u' ');
}

// How much of the text fits; at least one character, or nothing would ever end.
static qsizetype fittingSize(QStringView text, int width)
{
    qsizetype at = 0;
    while (at < text.size()) {
        const Character character = characterAt(text, at);
        width -= character.width;
        if (width < 0 && at > 0)
            break;
        at += character.size;
    }
    return at;
}

// Where a line that is too long is broken: at a blank, else behind a mark that parts a name.
static qsizetype breakOf(QStringView text, qsizetype fitting, TextColumns::Break mode)
{
    const qsizetype blank = text.first(std::min(fitting + 1, text.size())).lastIndexOf(u' ');
    if (blank > 0)
        return blank;
    if (mode == TextColumns::Break::AtBlanks) {
        const qsizetype next = text.indexOf(u' ', fitting);
        return next < 0 ? text.size() : next;
    }
    for (qsizetype at = fitting; at > fitting / 2; --at) {
        if (QStringView(u"_/,:@").contains(text[at - 1]))
            return at;
    }
    return fitting;
}

QStringList TextColumns::wrapped(const QString &text, int width, Break mode)
{
    QStringList lines;
    QStringView rest = QStringView(text).trimmed();
    while (true) {
        const qsizetype fitting = fittingSize(rest, width);
        const qsizetype end = fitting == rest.size() ? fitting : breakOf(rest, fitting, mode);
        lines.append(rest.first(end).trimmed().toString());
        rest = rest.sliced(end).trimmed();
        if (rest.isEmpty())
            return lines;
    }
}

} // namespace Tesk::Command
