#pragma once

#include "CatalogueView.h"

#include <QJsonArray>
#include <QJsonObject>

namespace Tesk::Command {

/// What several commands write of a filter, always in the same shape.
struct ImplementationJson
{
    static QJsonObject ofImplementation(const ImplementationView &implementation);
    static QJsonArray ofImplementations(const std::vector<ImplementationView> &implementations);

    /// The whole filter, as the export has it.
    static QJsonObject ofFilter(const FilterView &filter);

    /// {KEY: NODEDEF}
    static QJsonObject ofKeys(const std::vector<KeyView> &keys);

    /// The identifier of an asset.
    static QString idOf(const Assets::AssetReference &reference);
};

} // namespace Tesk::Command
