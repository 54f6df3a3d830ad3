#include "Table.h"

#include "Terminal.h"

#include <algorithm>
#include <numeric>

namespace Tesk::Command {

static constexpr qsizetype sGap = 2;
static constexpr qsizetype sNarrowest = 6;

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

std::vector<qsizetype> Table::columnWidths(int width) const
{
    std::vector<qsizetype> widths;
    for (qsizetype column = 0; column < m_headings.size(); ++column) {
        qsizetype widest = m_headings[column].size();
        for (const QStringList &row : m_rows)
            widest = std::max(widest, row[column].size());
        widths.push_back(widest);
    }
    const qsizetype gaps = sGap * (m_headings.size() - 1);
    qsizetype excess = std::accumulate(widths.begin(), widths.end(), gaps) - width;
    while (excess > 0) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= sNarrowest)
            break;
        --*widest;
        --excess;
    }
    return widths;
}

static QString fitted(const QString &cell, qsizetype width)
{
    if (cell.size() > width)
        return cell.first(width - 1) + QChar(0x2026);
    return cell.leftJustified(width);
}

static QString lineOf(const QStringList &cells, const std::vector<qsizetype> &widths)
{
    QString line;
    for (qsizetype column = 0; column < cells.size(); ++column)
        line += fitted(cells[column], widths[static_cast<std::size_t>(column)])
                + QString(sGap, u' ');
    while (line.endsWith(u' '))
        line.chop(1);
    return line;
}

QString Table::toText(int width) const
{
    const std::vector<qsizetype> widths = columnWidths(width);
    QString text = Terminal::bold(lineOf(m_headings, widths)) + u'\n';
    for (const QStringList &row : m_rows)
        text += lineOf(row, widths) + u'\n';
    return text;
}

} // namespace Tesk::Command
