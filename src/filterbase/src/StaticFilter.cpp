#include <filterbase/StaticFilter.h>

namespace Tesk::FilterBase {

StaticFilter::StaticFilter() = default;
StaticFilter::StaticFilter(const StaticFilter &other) = default;
StaticFilter &StaticFilter::operator=(const StaticFilter &other) = default;
StaticFilter::~StaticFilter() = default;

} // namespace Tesk::FilterBase
