#pragma once

#include <QString>
#include <QStringList>

namespace Tesk::Command {

/// Finds what a person may have meant.
struct NearNames
{
    /// The names of \a names that are nearest to \a name, at most three, the nearest first.
    static QStringList find(const QString &name, const QStringList &names);

    /// " Did you mean ...?" for find(), empty when there is nothing near.
    static QString hint(const QString &name, const QStringList &names);

    /// How many letters must be changed, added or dropped to make one of the other.
    static int distance(const QString &left, const QString &right);
};

} // namespace Tesk::Command
