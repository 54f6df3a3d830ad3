#pragma once

#include <data/SerializableData.h>

namespace Tesk::Data {

/// What other parts of this library need of an object and its clients must not touch.
class DataAccess
{
public:
    static void setHolder(SerializableData &record, SerializableData *holder)
    {
        record.m_holder = holder;
    }

    static bool isDecodingOnThisThread();
    /// Moves a new object to the thread of the object for which this thread is decoding.
    static void joinDecode(SerializableData &created);

    /// Makes \a object silent and writable as long as it lives.
    class FillScope
    {
    public:
        explicit FillScope(SerializableData &object)
            : m_object(object)
        {
            ++m_object.m_fillers;
        }
        ~FillScope() { --m_object.m_fillers; }
        FillScope(const FillScope &) = delete;
        FillScope &operator=(const FillScope &) = delete;

    private:
        SerializableData &m_object;
    };
};

} // namespace Tesk::Data
