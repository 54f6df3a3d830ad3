#pragma once

#include <QString>
#include <QStringList>
#include <QStringView>

namespace Tesk::Command {

/// Measures and breaks text as a terminal shows it: in columns, of which a character takes 0 to 2.
struct TextColumns
{
    enum class Break {
        Anywhere, ///< a word that is too long is broken
        AtBlanks, ///< a word that is too long sticks out, so that it can be copied whole
    };

    static int widthOf(QStringView text);

    /// \a text padded with blanks to \a width columns.
    static QString padded(const QString &text, int width);

    /// \a text in lines of at most \a width columns; at least one line.
    static QStringList wrapped(const QString &text, int width, Break mode);
};

} // namespace Tesk::Command
