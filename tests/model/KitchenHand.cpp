// Hand-written members of the test model.
#include <ipmodel/test/Kitchen.h>

namespace Kitchen {

// The shadow VRF lives in the holder's tag: a writable computed attribute
// that forwards to another entity.
L3::VrfName Item::shadow() const { return holder_ ? L3::VrfName(holder_->tag()) : L3::VrfName(); }
void Item::shadowIs(const L3::VrfName& v) {
  if (!holder_) throw Orv::RangeException("Item::shadowIs needs a holder");
  holder_->tagIs(v.stringValue());
}
std::uint32_t Pair::hash() const { return Orv::hashString(name_) ^ Orv::hashU32(number_); }

std::uint32_t Item::doubled() const { return 2u * limit_; }

}  // namespace Kitchen
