#pragma once

#include <QByteArrayView>

namespace Tesk::NodeLibrary {

/// Looks over the tags of an XML file before it is parsed.
///
/// The parser reads a tag whole and remembers every attribute by its name, which takes many times
/// the memory of a file that consists of one tag.
class TagScan
{
public:
    /// The position behind the first tag with more than \a most attributes, or -1.
    static qsizetype findCrowdedTag(QByteArrayView bytes, int most);
};

} // namespace Tesk::NodeLibrary
