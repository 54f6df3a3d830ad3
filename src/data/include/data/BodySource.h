#pragma once

#include <data/data_export.h>

namespace Tesk::Data {

class SerializableData;

/// Where the content of a shell comes from when a field of it is first touched.
///
/// Ownership: must outlive the shells that name it, or be detached from them first.
/// Threads: called on the thread that touches the shell, one decode at a time in the process.
class DATA_EXPORT BodySource
{
public:
    virtual ~BodySource();

    /// Fills \a object with deserializeFromNode(), which ends in onLoadedFromDisk().
    ///
    /// Called once for each shell, again only after a failure. Throws when the body cannot be
    /// decoded: the object stays a shell, and who touched it gets the exception.
    virtual void decode(SerializableData &object) = 0;
};

} // namespace Tesk::Data
