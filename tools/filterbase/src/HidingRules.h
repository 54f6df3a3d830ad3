#pragma once

#include "CatalogueView.h"

#include <QString>

namespace Tesk::Command {

/// Why the catalogue hides a filter of its own accord.
struct HidingRules
{
    /// Tells the rule that hides \a filter, empty when there is none.
    static QString reasonFor(const FilterView &filter, const CatalogueView &view);
};

} // namespace Tesk::Command
