#pragma once

#include <QByteArrayView>

namespace Tesk::NodeLibrary {

/// Looks over the tags of an XML file before it is parsed.
///
/// The parser compares each attribute of a tag with all others of it, so that one tag with a
/// few hundred thousand attributes would keep it busy for hours.
class TagScan
{
public:
    /// The position behind the first tag with more than \a most attributes, or -1.
    static qsizetype findCrowdedTag(QByteArrayView bytes, int most);
};

} // namespace Tesk::NodeLibrary
