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

std::uint32_t Masked::length() const { return key_.len(); }

Orv::Ptr<Leaf> Root::leafFor(const Lumen::IntfId& id) const { return leaf(id); }
std::uint32_t Root::countPlus(std::uint32_t a, std::uint16_t b) const { return count_ + a + b; }

bool ItemGauge::covers(Lumen::IntfId intfId) const { return item_ && item_->id() == intfId; }
std::uint32_t ItemGauge::pokes() const { return changed(); }

// The watcher follows the root's items: a reactor for every item present,
// none for an item that is gone.
void Watcher::OrvRoot::onItem(const Lumen::IntfId& id) {
  if (!sm()) return;
  if (auto item = notifier()->item(id)) {
    sm()->itemIs(item);
  } else {
    sm()->itemDel(id);
  }
}

void Watcher::OrvRoot::onItemorvImmediate() {
  if (!sm()) return;
  for (const Item& item : notifier()->item()) sm()->itemIs(Orv::Ptr<const Item>(&item));
}

void Watcher::OrvItem::onFlag() {
  if (sm()) sm()->flipsInc(1);
}
void Watcher::OrvItem::handleAttach() {
  if (sm()) sm()->attachedInc(1);
}
void Watcher::OrvItem::handleDel() {
  if (sm()) sm()->removedInc(1);
}

}  // namespace Kitchen
