#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace Tesk::Command {

/// How answers are written.
struct Answer
{
    /// The version of what is written as JSON: raised when a reader could misread an answer.
    static constexpr int sSchema = 1;

    /// Prints \a object with the schema's number, indented, its keys in ascending order.
    static void printJson(QJsonObject object);

    /// A string, or null for an empty one.
    static QJsonValue orNull(const QString &text);

    static QJsonArray toArray(const QStringList &texts);

    /// "1 filter", "2 filters".
    static QString counted(qint64 count, const QString &noun);
};

} // namespace Tesk::Command
