#include <nodelibrary/UserDataKeys.h>

namespace Tesk::NodeLibrary {

const QString libraryUserDataKey = QStringLiteral("nodelibrary::library");
const QString libraryOrderUserDataKey = QStringLiteral("nodelibrary::libraryOrder");
const QString positionUserDataKey = QStringLiteral("nodelibrary::position");
const QString replacedUserDataKey = QStringLiteral("nodelibrary::replaced");

} // namespace Tesk::NodeLibrary
