#include <nodelibrary/Problem.h>

namespace Tesk::NodeLibrary {

QString Problem::toString() const
{
    if (line <= 0)
        return QStringLiteral("%1: %2").arg(file, text);
    return QStringLiteral("%1:%2:%3: %4")
            .arg(file, QString::number(line), QString::number(column), text);
}

} // namespace Tesk::NodeLibrary
