#include <filterbase/UserDataKeys.h>

namespace Tesk::FilterBase {

// Stored with people's assets: never change a text.
const QString filterTypeUserDataKey = QStringLiteral("vantrel::type");
const QString variationTypeUserDataKey = QStringLiteral("vantrel::variation::type");
const QString altFilterTypeUserDataKey = QStringLiteral("lorimet::type");
const QString altVariationTypeUserDataKey = QStringLiteral("lorimet::variation::type");
const QString variableUsageUserDataKey = QStringLiteral("vantrel::variable_usage");
const QString uniqueOutputUserDataKey = QStringLiteral("vantrel::unique_output");
const QString defaultActiveOutputsUserDataKey = QStringLiteral("vantrel::defaultActiveOutputs");
const QString dynamicFilterTypeUserData = QStringLiteral("dynamic_filter");

} // namespace Tesk::FilterBase
