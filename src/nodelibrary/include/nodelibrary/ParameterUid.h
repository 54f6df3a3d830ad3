#pragma once

#include <nodelibrary/nodelibrary_export.h>

#include <nodelibrary/NodeDef.h>

#include <QString>

#include <vector>

namespace Tesk::NodeLibrary {

/// Gives the parameters of a nodedef their uids.
///
/// A uid is a hash of the nodedef's and the parameter's name: the same in every release of a
/// library that keeps the names, and different in two nodedefs that share a parameter.
struct NODELIBRARY_EXPORT ParameterUid
{
    /// The uids of \a parameters, in their order: never 0, never twice the same.
    static std::vector<unsigned int> uidsOf(const QString &nodeDefName,
                                            const std::vector<NodePort> &parameters);

    /// FNV-1a, 32 bit, over the UTF-8 form of \a text.
    static unsigned int hash(const QString &text);
};

} // namespace Tesk::NodeLibrary
