#include "Table.h"

#include "Terminal.h"
#include "TextColumns.h"

#include <algorithm>
#include <numeric>

namespace Tesk::Command {

static constexpr int sGap = 2;
static constexpr int sNarrowest = 6;

Table::Table(const QStringList &headings)
    : m_headings(headings)
{}

void Table::addRow(const QStringList &cells)
{
    QStringList shown;
    for (const QString &cell : cells)
        shown.append(Terminal::harmless(cell));
    m_rows.push_back(shown);
}

std::vector<int> Table::columnWidths(int width) const
{
    std::vector<int> widths;
    for (qsizetype column = 0; column < m_headings.size(); ++column) {
        int widest = TextColumns::widthOf(m_headings[column]);
        for (const QStringList &row : m_rows)
            widest = std::max(widest, TextColumns::widthOf(row[column]));
        widths.push_back(widest);
    }
    const int gaps = sGap * static_cast<int>(m_headings.size() - 1);
    int excess = std::accumulate(widths.begin(), widths.end(), gaps) - width;
    for (; excess > 0; --excess) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= sNarrowest)
            break;
        --*widest;
    }
    return widths;
}

// A row takes as many lines as the tallest of its cells.
static QString linesOf(const QStringList &cells, const std::vector<int> &widths)
{
    std::vector<QStringList> columns;
    qsizetype height = 1;
    for (qsizetype i = 0; i < cells.size(); ++i) {
        columns.push_back(TextColumns::wrapped(cells[i], widths[static_cast<std::size_t>(i)],
                                               TextColumns::Break::Anywhere));
        height = std::max(height, columns.back().size());
    }
    QString text;
    for (qsizetype line = 0; line < height; ++line) {
        for (std::size_t i = 0; i < columns.size(); ++i)
            text += TextColumns::padded(columns[i].value(line), widths[i] + sGap);
        while (text.endsWith(u' '))
            text.chop(1);
        text += u'\n';
    }
    return text;
}

QString Table::toText(int width) const
{
    const std::vector<int> widths = columnWidths(width);
    QString heading = linesOf(m_headings, widths);
    heading.chop(1);
    QString text = Terminal::bold(heading) + u'\n';
    for (const QStringList &row : m_rows)
        text += linesOf(row, widths);
    return text;
}

} // namespace Tesk::Command
