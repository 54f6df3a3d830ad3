#pragma once

#include <data/ClassRegistry.h>

#include <QMetaType>
#include <QString>

namespace Tesk::RenderableBase {

/// Makes a class known to the class registry while this library is loaded: descriptions are
/// values inside assets of other libraries, and whoever loads such an asset must not need to
/// know what else to register. The result is there to initialise a constant with.
template<class T>
bool registerClass(const QString &name)
{
    constexpr int version = 100;
    Data::ClassRegistry::setCurrentVersion(name, version);
    // Asking for the id is what makes the type known by its name.
    return QMetaType::fromType<T>().id() != QMetaType::UnknownType;
}

} // namespace Tesk::RenderableBase
