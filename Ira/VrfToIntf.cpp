// Hand-written member of the VRF-to-interface map.
#include <ipmodel/Ira/VrfToIntf.h>

namespace Ira {

// A map restored from a backup takes the name it was saved under.
void VrfToIntfMap::nameIsFromBackup(const Orv::Name& name) { name_ = name; }

}  // namespace Ira
