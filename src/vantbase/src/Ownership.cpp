#include <vantbase/Ownership.h>

#include <QVariant>

namespace Tesk::VantBase {

static constexpr char sMarkProperty[] = "_tesk_stealingOwnershipForbidden";

void forbidStealingOwnership(QObject *object)
{
    if (!object)
        return;
    if (auto *mark = dynamic_cast<OwnershipMark *>(object))
        mark->forbidStealingOwnership();
    else
        object->setProperty(sMarkProperty, true);
}

bool isStealingOwnershipForbidden(const QObject *object)
{
    if (!object)
        return false;
    if (const auto *mark = dynamic_cast<const OwnershipMark *>(object))
        return mark->isStealingOwnershipForbidden();
    return object->property(sMarkProperty).toBool();
}

} // namespace Tesk::VantBase
