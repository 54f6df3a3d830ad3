#include "Answer.h"

#include "Terminal.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace Tesk::Command {

void Answer::printJson(QJsonObject object)
{
    object.insert(QStringLiteral("schema"), sSchema);
    Terminal::print(QString::fromUtf8(QJsonDocument(object).toJson()));
}

QJsonValue Answer::orNull(const QString &text)
{
    return text.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

QJsonArray Answer::toArray(const QStringList &texts)
{
    return QJsonArray::fromStringList(texts);
}

QString Answer::counted(qint64 count, const QString &noun)
{
    return QString::number(count) + u' ' + noun + (count == 1 ? QString() : QStringLiteral("s"));
}

} // namespace Tesk::Command
