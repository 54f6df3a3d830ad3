#pragma once

#include <filterbase/filterbase_export.h>

#include <QString>

/// The metadata by which filter assets say what they are. Each constant is one object for all
/// modules of a process.
namespace Tesk::FilterBase {

/// Key of the filter type: the text by which a filter asset is filed and found.
FILTERBASE_EXPORT extern const QString filterTypeUserDataKey;

/// Key of the variation type: under which key, or keys, a dynamic filter files an implementation.
FILTERBASE_EXPORT extern const QString variationTypeUserDataKey;

/// Another key for the filter type, for client modules; FilterBase itself does not read it.
FILTERBASE_EXPORT extern const QString altFilterTypeUserDataKey;

/// Read where there is nothing under variationTypeUserDataKey.
FILTERBASE_EXPORT extern const QString altVariationTypeUserDataKey;

/// Key of a text that describes the variable usage of the output.
FILTERBASE_EXPORT extern const QString variableUsageUserDataKey;

/// Key of a boolean: the implementation has a single output.
FILTERBASE_EXPORT extern const QString uniqueOutputUserDataKey;

/// Key of a text that names the outputs which are active by default.
FILTERBASE_EXPORT extern const QString defaultActiveOutputsUserDataKey;

/// The filter type that marks an implementation of a dynamic filter, compared case by case.
FILTERBASE_EXPORT extern const QString dynamicFilterTypeUserData;

} // namespace Tesk::FilterBase
