// Entities, notifiee lists, generic access of the base attributes.
#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/Attr.h>
#include <ipmodel/Orv/Entity.h>
#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/NboAttrLogSa.h>

namespace Orv {

namespace detail {
thread_local constinit NotifyCursor* notifyCursorTop __attribute__((tls_model("initial-exec"))) =
    nullptr;
thread_local constinit const Entity* writeLiftTop __attribute__((tls_model("initial-exec"))) =
    nullptr;
}  // namespace detail

NotifieeConst::~NotifieeConst() { unlink(); }

void NotifieeConst::unlink() {
  const Entity* e = notifier_.ptr();
  if (e == nullptr) return;
  // Any notification loop about to visit this notifiee skips to the next.
  for (auto* c = detail::notifyCursors(); c != nullptr; c = c->outer) {
    if (c->next == this) c->next = next_;
  }
  auto* self = const_cast<Entity*>(e);
  if (self->notifiees_ == this) {
    self->notifiees_ = next_;
    if (next_ != nullptr) next_->prev_ = prev_;  // new head keeps the tail
  } else {
    prev_->next_ = next_;
    if (next_ != nullptr) {
      next_->prev_ = prev_;
    } else {
      self->notifiees_->prev_ = prev_;  // removed the tail
    }
  }
  next_ = prev_ = nullptr;
  notifier_ = nullptr;  // may destroy the entity: last
}

bool NotifieeConst::notifierIsBase(const Entity* e) {
  if (e == notifier_.ptr()) return false;
  unlink();
  if (e == nullptr) return true;
  notifier_ = Ptr<const Entity>(e);
  auto* self = const_cast<Entity*>(e);
  // Append at the tail so notifiees are visited in the order they attached.
  if (self->notifiees_ == nullptr) {
    self->notifiees_ = this;
    prev_ = this;
  } else {
    NotifieeConst* tail = self->notifiees_->prev_;
    tail->next_ = this;
    prev_ = tail;
    self->notifiees_->prev_ = this;
  }
  next_ = nullptr;
  orvImmediate();
  return true;
}

void NotifieeConst::hookedNotifierIs(const Entity* e) {
  const Entity* old = notifier_.ptr();
  if (e == old) return;
  // The old notifier is still held here: notifierIsBase lets go of it last.
  if (old != nullptr) --old->notify_.hooked;
  if (e != nullptr) {
    ORV_ASSERT(e->notify_.hooked < 255);
    ++e->notify_.hooked;
  }
  notifierIsBase(e);
}

void Entity::orvNotifyHooked(std::uint16_t id, const MemberKey* key,
                             void (*call)(NotifieeConst&, const void*), const void* c) const {
  auto f = [&](NotifieeConst& n) {
    const bool taken = key != nullptr ? n.orvMemberHook(id, *key) : n.orvAttrHook(id);
    if (!taken) call(n, c);
  };
  orvNotifyAll<NotifieeConst>(f);
}

Entity::~Entity() { ORV_ASSERT(notifiees_ == nullptr); }

Ptr<Entity::OrvNboAttrLogSa> Entity::orvNboAttrLogSaIs(NotifieeConst::Orv_BitSet, std::uint32_t,
                                                       const Ptr<NboAttrLog::Out>&) {
  return Ptr<OrvNboAttrLogSa>();
}

void Entity::orvWriteRefused(std::uint16_t attrId) const {
  const AttrDesc* a = attrId != 0 ? fwkType().attr(attrId) : nullptr;
  throw ReadOnlyProxyException(std::string("write of ") + fwkType().name +
                               (a ? std::string("::") + a->name : std::string()) +
                               " on read-only proxy " + fullName() + " not allowed");
}

void Entity::orvRangeFail(const char* message) { throw RangeException(message); }

String Entity::parentAttrName() const {
  if (parent_ == nullptr || parentAttrId_ == 0) return String();
  const AttrDesc* a = parent_->fwkType().attr(parentAttrId_);
  return a ? String(a->name) : String();
}

String Entity::fullName() const {
  String p;
  if (parent_ != nullptr) {
    p = parent_->fullName();
    const String attr = parentAttrName();
    if (!attr.empty()) {
      p.push_back('/');
      p.append(attr);
    }
  }
  p.push_back('/');
  p.append(keyStrep());
  return p;
}

int Entity::orvAttr(AttrOp op, std::uint16_t id, AttrArg& arg) {
  switch (id) {
    case AttrId::name:
    case AttrId::fullName:
    case AttrId::parent:
    case AttrId::parentAttrName:
    case AttrId::entity:
      break;
    default:
      return 2;
  }
  if (op != AttrOp::get) return 1;
  switch (id) {
    case AttrId::name:
      arg.value = name();
      break;
    case AttrId::fullName:
      arg.value = fullName();
      break;
    case AttrId::parent:
      arg.value = Ptr<Entity>(parent_);
      break;
    case AttrId::parentAttrName:
      arg.value = parentAttrName();
      break;
    default:
      arg.value = Ptr<Entity>(this);
      break;
  }
  return 0;
}

}  // namespace Orv
