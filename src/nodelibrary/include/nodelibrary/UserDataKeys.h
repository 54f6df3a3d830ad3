#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <QString>

/// The metadata by which this module finds its own assets again; stored in user files.
namespace Tesk::NodeLibrary {

/// The name of the library that brought the asset.
NODELIBRARY_EXPORT extern const QString libraryUserDataKey;

/// An integer by which libraries are ordered: the order in which they first came.
NODELIBRARY_EXPORT extern const QString libraryOrderUserDataKey;

/// An integer: the place among the nodedefs of the library.
NODELIBRARY_EXPORT extern const QString positionUserDataKey;

/// True on an asset that a later import replaced; absent on one that stands.
NODELIBRARY_EXPORT extern const QString replacedUserDataKey;

} // namespace Tesk::NodeLibrary
