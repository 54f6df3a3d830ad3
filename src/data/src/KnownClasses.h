#pragma once

#include "NameTable.h"

#include <QMetaType>

#include <optional>
#include <string_view>
#include <vector>

namespace Tesk::Data {

/// What the class registry knows of the class that is stored under one name.
struct KnownClass
{
    std::optional<int> version; ///< the current one
    bool isOldName = false;
    QMetaType type; ///< invalid unless it makes serializable objects
};

/// All names that were registered up to some moment, to be looked up without a lock.
///
/// Every object that is written or read is looked up, by several threads at once; classes are
/// registered while the process starts.
///
/// Threads: any thread; what a look-up gives stays as it is for the life of the process.
class KnownClasses
{
public:
    /// Null for a name that nobody registered; \a name is UTF-8.
    static const KnownClass *find(std::string_view name);

    void add(std::string_view name, const KnownClass &known);

private:
    Serialization::NameTable m_names;
    std::vector<KnownClass> m_classes{1}; // by the number of the name; the first is nobody's
};

} // namespace Tesk::Data
