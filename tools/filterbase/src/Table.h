#pragma once

#include <QString>
#include <QStringList>

#include <vector>

namespace Tesk::Command {

/// Lines up columns of text and keeps them within the terminal.
class Table
{
public:
    explicit Table(const QStringList &headings);

    void addRow(const QStringList &cells);
    bool isEmpty() const { return m_rows.empty(); }

    /// The lines, the heading first; where \a width is too small the widest columns are wrapped.
    QString toText(int width) const;

private:
    std::vector<int> columnWidths(int width) const;

    QStringList m_headings;
    std::vector<QStringList> m_rows;
};

} // namespace Tesk::Command
