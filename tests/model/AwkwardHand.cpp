// Hand-written members of the awkward-names model.
#include <ipmodel/test/Awkward.h>

namespace Awkward {

std::uint32_t Thing::op() const { return key_ + n_; }

}  // namespace Awkward
