#pragma once

#include <filterbase/filterbase_export.h>

namespace Tesk::FilterBase::Serialization {

/// Makes the filter classes known to the class registry and to the asset database.
///
/// Call it once at start-up, before a database that may hold filters is opened; later calls do
/// nothing. What a failed call left undone is done by the next one.
///
/// Threads: the main thread, before anything else uses the class registry.
/// Errors: what a registration raises passes.
FILTERBASE_EXPORT void prepareSerialization();

} // namespace Tesk::FilterBase::Serialization
