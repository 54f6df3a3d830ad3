#pragma once

#include <assets/Accessibility.h>

#include <QVariant>

namespace Tesk::Assets {

/// One piece of metadata: a value, what kind of value it is, and who may see it.
///
/// Threads: a value. Persistence: type and accessibility by number.
struct MetaDataItem
{
    /// What the value is meant as. The numbers are stored; those left out are free.
    enum Type : int {
        Unknown = 0,
        Integer = 1,
        Real = 2,
        Text = 3,
        TextList = 4,
        Url = 5,
        Bytes = 6,
        Boolean = 12,
    };

    QVariant value;
    Type type = Text;
    Accessibility accessibility = Accessibility::Public;

    friend bool operator==(const MetaDataItem &, const MetaDataItem &) = default;
};

} // namespace Tesk::Assets
