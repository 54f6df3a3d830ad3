#pragma once

#include <filterbase/filterbase_export.h>

#include <QString>

namespace Tesk::FilterBase {

/// What a concrete filter implements beside its asset class.
///
/// A client's class derives from an asset class and from this one; the catalogue finds it with
/// a dynamic_cast from the asset, also across shared objects.
///
/// Ownership: never deleted through this interface by the library.
class FILTERBASE_EXPORT StaticFilter
{
public:
    StaticFilter();
    StaticFilter(const StaticFilter &other);
    StaticFilter &operator=(const StaticFilter &other);
    // Defined in the library, which makes it the one home of the type information.
    virtual ~StaticFilter();

    /// Returns the text that tells the variations of one filter name apart. "dynamic" says that
    /// this filter replaces all others of its name.
    virtual QString variationType() const = 0;
};

} // namespace Tesk::FilterBase
