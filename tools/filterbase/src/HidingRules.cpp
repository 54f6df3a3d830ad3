#include "HidingRules.h"

#include <assets/AssetControl.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace Tesk::Command {

QString HidingRules::reasonFor(const FilterView &filter, const CatalogueView &view)
{
    if (filter.isDynamic())
        return {};
    for (const Assets::AssetReference &reference : filter.descriptor->implementations) {
        const QString category =
                Assets::AssetControl::getAssetMetadataItem(reference, u"Category"_s).toString();
        if (category == "HDRI Tools"_L1 || category == "Mesh Tool"_L1)
            return u"its category is \"%1\", which every opening of the catalogue hides"_s.arg(
                    category);
    }
    const bool hasDynamic =
            std::any_of(view.filters().begin(), view.filters().end(), [&](const FilterView &each) {
                return each.isDynamic() && each.key == filter.key;
            });
    if (hasDynamic)
        return u"a dynamic filter of the same name stands for it, and each import of it hides "
               "the static one"_s;
    return {};
}

} // namespace Tesk::Command
