#pragma once

#include <filterbase/DynamicFilterAsset.h>
#include <filterbase/FilterDescAsset.h>
#include <filterbase/ImplementationInfo.h>
#include <filterbase/UserDataKeys.h>

#include <vector>

namespace FilterBaseTesting {

/// The addresses of the published constants as the including shared object links them.
inline std::vector<const void *> constantsHere()
{
    using namespace Tesk::FilterBase;
    return {
            &filterTypeUserDataKey,           &variationTypeUserDataKey,
            &altFilterTypeUserDataKey,        &altVariationTypeUserDataKey,
            &variableUsageUserDataKey,        &uniqueOutputUserDataKey,
            &defaultActiveOutputsUserDataKey, &dynamicFilterTypeUserData,
            &DynamicFilterAsset::sTypeName,   &DynamicFilterAsset::sDynamicUsage,
            &FilterDescAsset::sTypeName,      &ImplementationInfo::sTypeName,
    };
}

} // namespace FilterBaseTesting
