// The classes whose virtual tables are compared with what clients were built for.
#include "StandIns.h"

namespace Tesk::Data {

template class Field<Reference>;
template class Vector<Reference>;
template class HashMap<unsigned int, unsigned int>;

} // namespace Tesk::Data
