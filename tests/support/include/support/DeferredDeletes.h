#pragma once

namespace Tesk::TestSupport {

/// Delivers deferred deletions on the calling thread until none is pending.
///
/// One delivery is not enough: an object that dies may post the deletion of what it owned.
/// To be called on the application object's thread. Returns how many objects were deleted.
int drainDeferredDeletes();

} // namespace Tesk::TestSupport
