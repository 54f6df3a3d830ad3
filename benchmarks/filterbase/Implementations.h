#pragma once

#include <filterbase/DynamicFilterAsset.h>

#include <assets/AssetDatabaseService.h>
#include <renderablebase/RenderableAsset.h>

#include <QString>

#include <memory>
#include <string>
#include <vector>

namespace FilterBaseBenchmarks {

/// One parameter as plain data.
struct PlainParameter
{
    QString identifier;
    unsigned int uid = 0;
};

using PlainDescription = std::vector<PlainParameter>;

/// Descriptions of which each takes some of its identifiers from the first one, spread over its
/// list, as the overloads of one filter do. Names are of the length that libraries use.
std::vector<PlainDescription> overlappingDescriptions(int count, int parameters,
                                                      int overlapPercent);

/// The description of a renderable with those parameters.
std::shared_ptr<Tesk::RenderableBase::RenderableIODesc>
describe(const PlainDescription &parameters);

/// An open database in memory, registered as the process's service while it lives.
class Database
{
public:
    Database();
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    /// Files an implementation that has this description.
    Tesk::Assets::AssetReference
    implementation(std::shared_ptr<const Tesk::RenderableBase::RenderableIODesc> description);

private:
    std::shared_ptr<Tesk::Assets::AssetDatabaseService> m_service;
    int m_count = 0;
};

/// A filter that is filed nowhere.
std::shared_ptr<Tesk::FilterBase::DynamicFilterAsset> makeFilter();

/// The key of the n-th type: in ascending order of the numbers.
QString keyOf(int number);

/// Deletes what waits for the event loop, which a benchmark does not have.
void drainDeferredDeletes();

} // namespace FilterBaseBenchmarks
