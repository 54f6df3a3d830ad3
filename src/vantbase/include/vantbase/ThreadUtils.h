#pragma once

#include <vantbase/vantbase_export.h>

namespace Tesk::VantBase::ThreadUtils {

/// Whether the caller is on the application object's thread.
///
/// Before there is an application object, and after: the thread that loaded this library.
VANTBASE_EXPORT bool isMainThread();

} // namespace Tesk::VantBase::ThreadUtils
