#pragma once

#include <functional>
#include <memory>
#include <typeinfo>
#include <vector>

#include <QtGlobal>

namespace Tesk::Assets {
class Asset;
}

/// A client module with hidden visibility, and what it sees of the library's exports.
namespace ClientModule {

/// The type_info objects as this module's own code names them: the published filter family,
/// then the host's exceptions, in the order of the test's list.
Q_DECL_EXPORT std::vector<const std::type_info *> exceptionTypes();

Q_DECL_EXPORT void throwUnloaded(const char *message);
Q_DECL_EXPORT void throwUnresolved(const char *message);
Q_DECL_EXPORT void throwNotFound(const char *message);

/// Calls \a raise and returns what this module's handlers name the exception; they stand in
/// the order UnloadedException, FilterException, NotFoundException, SerializationException,
/// BaseException.
Q_DECL_EXPORT const char *caughtAs(const std::function<void()> &raise);

/// The addresses of the published constants, in the order of the test's list.
Q_DECL_EXPORT std::vector<const void *> constants();

/// A concrete filter of a class that only this module knows; its variation is "client".
Q_DECL_EXPORT std::shared_ptr<Tesk::Assets::Asset> makeFilter();

/// The type_info of StaticFilter as this module's own code names it.
Q_DECL_EXPORT const std::type_info *staticFilterType();

} // namespace ClientModule
