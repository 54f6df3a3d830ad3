#pragma once

#include <data/data_export.h>

#include <data/SerializableFieldBase.h>

namespace Tesk::Data {

class SerializableData;

/// Suspends options of all fields of one object as long as it lives; inhibitors nest.
///
/// Ownership: must not outlive the object.
/// Threads: as the object.
class DATA_EXPORT ScopedOptionInhibitor
{
public:
    ScopedOptionInhibitor(SerializableData &object, SerializableFieldBase::Options options);
    ~ScopedOptionInhibitor();

    ScopedOptionInhibitor(const ScopedOptionInhibitor &) = delete;
    ScopedOptionInhibitor &operator=(const ScopedOptionInhibitor &) = delete;

private:
    SerializableData &m_object;
    const SerializableFieldBase::Options m_options;
};

} // namespace Tesk::Data
