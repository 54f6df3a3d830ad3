// The class whose virtual tables are compared with what clients were built for.
#include <assets/CollectionAsset.h>

namespace Tesk::Assets {

// Pure operations have no name in a table: the dump is taken of the first class that has all.
class SlotProbe : public CollectionAsset
{
};

} // namespace Tesk::Assets
