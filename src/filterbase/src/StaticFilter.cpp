#include <filterbase/StaticFilter.h>

namespace Tesk::FilterBase {

StaticFilter::StaticFilter() = default;
StaticFilter::StaticFilter(const StaticFilter &) = default;
StaticFilter &StaticFilter::operator=(const StaticFilter &) = default;
StaticFilter::~StaticFilter() = default;

} // namespace Tesk::FilterBase
