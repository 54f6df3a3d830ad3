#pragma once

#include "CatalogueView.h"

#include <QString>

namespace Tesk::Command {

/// How the implementation for a usage and a type is found.
struct Choice
{
    enum class Found { ByUsage, ByType, AsOnlyOne, Nowhere };

    Found found = Found::Nowhere;
    const FilterBase::ImplementationInfo *info = nullptr; ///< null for a static filter
    Assets::AssetReference implementation;

    /// Asks \a filter as a host would; \a usage and \a type may be empty.
    static Choice of(const FilterView &filter, const QString &usage, const QString &type);

    /// "types: color, float; usages: none"
    static QString keysText(const FilterView &filter);

    /// Why there is no choice: what was asked for, what is near to it, what there is.
    static QString refusalText(const FilterView &filter, const QString &usage, const QString &type);
};

} // namespace Tesk::Command
