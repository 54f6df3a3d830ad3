// The classes whose virtual tables are compared with what clients were built for.
#include "support/FakeFilter.h"

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/FilterException.h>
#include <filterbase/ImplementationInfo.h>
#include <filterbase/StaticFilter.h>

#include <QString>

namespace FilterBaseTesting {

class NamedVariation : public Tesk::FilterBase::StaticFilter
{
public:
    QString variationType() const override { return {}; }
};

} // namespace FilterBaseTesting
