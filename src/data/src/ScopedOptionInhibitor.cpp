#include <data/ScopedOptionInhibitor.h>

#include <data/SerializableData.h>

namespace Tesk::Data {

ScopedOptionInhibitor::ScopedOptionInhibitor(SerializableData &object,
                                             SerializableFieldBase::Options options)
    : m_object(object)
    , m_options(options)
{
    for (std::size_t bit = 0; bit < SerializableData::sOptionCount; ++bit) {
        if ((m_options.toInt() & (1U << bit)) != 0 && m_object.m_inhibitors[bit]++ == 0)
            m_object.m_inhibited |= static_cast<quint8>(1U << bit);
    }
}

ScopedOptionInhibitor::~ScopedOptionInhibitor()
{
    for (std::size_t bit = 0; bit < SerializableData::sOptionCount; ++bit) {
        if ((m_options.toInt() & (1U << bit)) != 0 && --m_object.m_inhibitors[bit] == 0)
            m_object.m_inhibited &= static_cast<quint8>(~(1U << bit));
    }
}

} // namespace Tesk::Data
