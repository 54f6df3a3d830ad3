#pragma once

#include <vantbase/vantbase_export.h>

#include <QObject>

#include <concepts>

namespace Tesk::VantBase {

/// Second base of QObject classes made by the hundred thousand: keeps the mark of
/// forbidStealingOwnership() in the object, where any other object needs a dynamic property.
class OwnershipMark
{
public:
    bool isStealingOwnershipForbidden() const { return m_stealingForbidden; }
    void forbidStealingOwnership() { m_stealingForbidden = true; }

protected:
    OwnershipMark() = default;
    ~OwnershipMark() = default;

private:
    bool m_stealingForbidden = false;
};

/// Marks \a object so that no other runtime (scripts, user interface) takes its ownership over.
///
/// Null is left alone. Call it before the object is shared. Neither parent nor thread of the object change.
VANTBASE_EXPORT void forbidStealingOwnership(QObject *object);

/// Whether forbidStealingOwnership() was called on \a object.
VANTBASE_EXPORT bool isStealingOwnershipForbidden(const QObject *object);

// For a class known to carry the mark: the same without the cast.
template<std::derived_from<OwnershipMark> Marked>
void forbidStealingOwnership(Marked *object)
{
    object->forbidStealingOwnership();
}

} // namespace Tesk::VantBase
