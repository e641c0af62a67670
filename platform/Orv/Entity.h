// Entities and their notifiee lists.
//
// An entity is a reference-counted model object with a type descriptor, a
// parent (the entity whose instantiating collection created it), a
// notification-active flag and a list of notifiees (reactors). Every
// successful change visits the list synchronously, and only when it is
// non-empty.
//
// Notifiees are ordinary objects: on the stack, members, or counted. One
// attaches with notifierIs(p) and detaches with notifierIs(nullptr) or by its
// destruction. A notifiee holds a counted pointer to its notifier, so the
// notifier outlives every attached notifiee. Handlers may attach and detach
// notifiees (themselves included) and change the notifier while it notifies.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <utility>

#include <ipmodel/Orv/Collections.h>
#include <ipmodel/Orv/Export.h>
#include <ipmodel/Orv/Ptr.h>
#include <ipmodel/Orv/String.h>
#include <ipmodel/Orv/Type.h>

namespace Orv {

class Entity;
class AttrArg;
namespace NboAttrLog {
class Out;
}
enum class AttrOp : std::uint8_t;

// A collection member's key as a change hook receives it: the key and the
// function that writes it in its attribute-log form.
struct MemberKey {
  const void* key;
  void (*write)(NboAttrLog::Out& out, const void* key);
  // Defined in NboAttrLog.h, which generated code includes.
  template <class K>
  static void writeOf(NboAttrLog::Out& out, const void* key);
};

class IPMODEL_API NotifieeConst {
 public:
  // A small set of named flags, such as those of an attribute-log adapter
  // (readOnly, remoteWriteAllowed). A single flag converts to a set, flags
  // combine with | and are tested with has().
  class Orv_BitSet {
   public:
    enum Bit : std::uint32_t {
      readOnly = 1u << 0,            // the entity is a read-only proxy of another process's
      remoteWriteAllowed = 1u << 1,  // entries from the other side may change the entity
    };
    constexpr Orv_BitSet() = default;
    constexpr Orv_BitSet(Bit b) : bits_(b) {}  // NOLINT: a flag is a set of one
    static constexpr Orv_BitSet fromBits(std::uint32_t bits) { return Orv_BitSet(bits, 0); }

    constexpr std::uint32_t bits() const { return bits_; }
    constexpr bool has(Bit b) const { return (bits_ & b) != 0; }
    constexpr bool empty() const { return bits_ == 0; }
    constexpr Orv_BitSet with(Orv_BitSet o) const { return fromBits(bits_ | o.bits_); }
    constexpr Orv_BitSet without(Orv_BitSet o) const { return fromBits(bits_ & ~o.bits_); }
    friend constexpr Orv_BitSet operator|(Orv_BitSet a, Orv_BitSet b) { return a.with(b); }
    friend constexpr Orv_BitSet operator|(Bit a, Bit b) { return Orv_BitSet(a).with(b); }
    friend constexpr Orv_BitSet operator&(Orv_BitSet a, Orv_BitSet b) {
      return fromBits(a.bits_ & b.bits_);
    }
    friend constexpr bool operator==(Orv_BitSet, Orv_BitSet) = default;

   private:
    constexpr Orv_BitSet(std::uint32_t bits, int) : bits_(bits) {}
    std::uint32_t bits_ = 0;
  };

  NotifieeConst() = default;
  NotifieeConst(const NotifieeConst&) = delete;
  NotifieeConst& operator=(const NotifieeConst&) = delete;
  virtual ~NotifieeConst();

  const Entity* notifierEntity() const { return notifier_.ptr(); }
  bool attached() const { return notifier_.ptr() != nullptr; }

 protected:
  // Detaches from the current notifier (if any) and attaches to e (if not
  // null). Returns false when e is already the notifier (nothing done).
  bool notifierIsBase(const Entity* e);
  // Runs once after each attach: the immediate handlers of the collections.
  virtual void orvImmediate() {}

  // Change hooks. An entity with a hooked notifiee attached (an
  // attribute-log adapter) offers each change of a stored attribute or
  // collection member to every notifiee here, by attribute id, before its
  // handler; a notifiee that answers true has taken the change and its
  // handler is not called. Entities without one never call these.
  virtual bool orvAttrHook(std::uint16_t) { return false; }
  virtual bool orvMemberHook(std::uint16_t, const MemberKey&) { return false; }
  // notifierIsBase for a notifiee that overrides the hooks: the notifier
  // counts it, so that its changes take the hooked path.
  void hookedNotifierIs(const Entity* e);

 private:
  friend class Entity;
  friend class NotifieeList;
  void unlink();

  Ptr<const Entity> notifier_;
  NotifieeConst* next_ = nullptr;
  NotifieeConst* prev_ = nullptr;  // the head's prev_ is the tail
};

// The notifiees attached to one entity, in attach order, as a forward range.
// A view: it is valid while the list is not changed, so a handler that may
// attach or detach notifiees must not hold one across that change.
class NotifieeList {
 public:
  class const_iterator {
   public:
    using value_type = NotifieeConst;
    using reference = NotifieeConst&;
    using pointer = NotifieeConst*;
    using difference_type = std::ptrdiff_t;
    using iterator_category = std::forward_iterator_tag;

    const_iterator() = default;
    explicit const_iterator(NotifieeConst* n) : n_(n) {}
    NotifieeConst& operator*() const { return *n_; }
    NotifieeConst* operator->() const { return n_; }
    const_iterator& operator++() {
      n_ = n_->next_;
      return *this;
    }
    const_iterator operator++(int) {
      const_iterator old = *this;
      ++*this;
      return old;
    }
    bool operator==(const const_iterator& o) const { return n_ == o.n_; }

   private:
    NotifieeConst* n_ = nullptr;
  };
  using iterator = const_iterator;

  explicit NotifieeList(NotifieeConst* head) : head_(head) {}
  const_iterator begin() const { return const_iterator(head_); }
  const_iterator end() const { return const_iterator(); }
  bool empty() const { return head_ == nullptr; }
  std::size_t size() const {
    std::size_t n = 0;
    for (auto* p = head_; p != nullptr; p = p->next_) ++n;
    return n;
  }

 private:
  NotifieeConst* head_;
};

namespace detail {
// Cursors of the notification loops running on this thread, innermost first:
// a notifiee that detaches while a loop is about to visit it moves the
// cursor past itself.
struct NotifyCursor {
  NotifieeConst* next;
  NotifyCursor* outer;
};
IPMODEL_API extern thread_local constinit NotifyCursor* notifyCursorTop
    __attribute__((tls_model("initial-exec")));
inline NotifyCursor*& notifyCursors() { return notifyCursorTop; }
}  // namespace detail

namespace detail {
// The read-only proxy whose next write is the entry an adapter applies.
IPMODEL_API extern thread_local constinit const Entity* writeLiftTop
    __attribute__((tls_model("initial-exec")));
}  // namespace detail

class IPMODEL_API Entity : public PtrInterface, public HashLink {
 public:
  Entity(const Entity&) = delete;
  Entity& operator=(const Entity&) = delete;

  virtual const TypeDesc& fwkType() const = 0;
  // The entity's name; keyed entities answer an empty name.
  virtual Name name() const { return Name(); }
  // The textual form of the entity's identity inside its parent: its name,
  // or its key for keyed entities.
  virtual String keyStrep() const { return name(); }
  // "/" for a root, else the parent's full name, the collection attribute's
  // name and the key, joined by "/": "/ipConfig/ipIntfConfig/Ethernet1".
  String fullName() const;

  Entity* parent() const { return parent_; }
  // The name of the parent's attribute that holds this entity ("" without one).
  String parentAttrName() const;
  void parentIs(Entity* parent, std::uint16_t parentAttrId = 0) {
    parent_ = parent;
    parentAttrId_ = parent ? parentAttrId : 0;
  }

  bool notificationActive() const { return notify_.active; }
  void hasNotificationActiveIs(bool on) { notify_.active = on; }
  bool hasNotifiees() const { return notifiees_ != nullptr; }
  std::size_t notifieeCount() const { return notifieeList().size(); }
  // The attached notifiees (reactors), in attach order.
  NotifieeList notifieeList() const { return NotifieeList(notifiees_); }

  // The attribute-log adapter of each entity type (NboAttrLogSa.h).
  class OrvNboAttrLogSa;
  // Creates an adapter that writes this entity's changes to out under the
  // identity id and applies incoming entries; null for a type without one.
  virtual Ptr<OrvNboAttrLogSa> orvNboAttrLogSaIs(NotifieeConst::Orv_BitSet flags, std::uint32_t id,
                                                 const Ptr<NboAttrLog::Out>& out);

  // A read-only proxy (the local copy of an entity another process owns)
  // refuses local writes: a setter or collection operation that would change
  // it raises ReadOnlyProxyException before it stores anything. The copy's
  // attribute-log adapter lifts the mark for each entry it applies
  // (OrvWriteLift).
  bool readOnlyProxy() const { return readOnlyProxy_; }
  void readOnlyProxyIs(bool on) { readOnlyProxy_ = on; }
  // Called by setters and collection operations once they know they would
  // change the entity; attrId names the attribute for the message (0: the
  // entity only).
  void orvWriteCheck(std::uint16_t attrId = 0) const {
    if (readOnlyProxy_) [[unlikely]] {
      if (detail::writeLiftTop == this) {
        detail::writeLiftTop = nullptr;  // one write: the entry's own
        return;
      }
      orvWriteRefused(attrId);
    }
  }
  // Out of line: throws ReadOnlyProxyException (a lifted write passed
  // above).
  [[noreturn]] void orvWriteRefused(std::uint16_t attrId) const;

  virtual bool orvHasAttrLogInterface() const { return false; }
  virtual bool hasBackupSupport() const { return false; }

  // Generic attribute access: 0 done, 1 the operation does not apply to that
  // attribute, 2 the type has no attribute with that identifier.
  virtual int orvAttr(AttrOp op, std::uint16_t id, AttrArg& arg);

 protected:
  Entity() = default;
  ~Entity() override;

  // Calls f(n) for every notifiee n (all of notifiee type N), when
  // notification is active and the list is non-empty. A notifiee attached
  // while the list is being visited may or may not hear that change. The
  // entity may lose its last reference inside a handler (a notifiee that
  // held it detaches); callers that use the entity afterwards hold their own.
  template <class N, class F>
  void orvNotify(F&& f) const {
    if (notifiees_ != nullptr && notify_.active) orvNotifyAll<N>(f);
  }
  // Calls handler on every notifiee after attribute id changed. An entity
  // with hooked notifiees offers them the change by id first, on a path of
  // its own kept out of the setter (the common path stays a direct loop
  // over the handler).
  template <class N>
  void orvChanged(void (N::*handler)(), std::uint16_t id) const {
    if (notifiees_ == nullptr) return;
    if (notify_.plain()) [[likely]] {
      auto f = [handler](N& n) { (n.*handler)(); };
      orvNotifyAll<N>(f);
    } else {
      orvChangedHooked<N>(handler, id);
    }
  }
  // The same for the member under k of collection id: handler(k).
  template <class N, class P, class K>
  void orvNotifyMember(std::uint16_t id, const K& k, void (N::*handler)(P)) const {
    if (notifiees_ == nullptr) return;
    if (notify_.plain()) [[likely]] {
      auto f = [handler, &k](N& n) { (n.*handler)(k); };
      orvNotifyAll<N>(f);
    } else {
      orvMemberHooked<N>(id, k, handler);
    }
  }

  // A generated setter: compare with the attribute type's equality; if
  // equal, nothing. Otherwise store, then call handler on every notifiee of
  // type N (a hooked notifiee gets the attribute id instead).
  template <class N, class T, class V>
  void orvSet(T& field, const V& v, void (N::*handler)(), std::uint16_t id) {
    if (field == v) return;
    orvWriteCheck();
    field = v;
    orvChanged<N>(handler, id);
  }
  // A setter with a range check: the new value is stored first and stays
  // stored when it is out of range; then the check throws RangeException
  // with message and nobody is notified.
  template <class N, class T, class V>
  void orvSetInRange(T& field, const V& v, bool inRange, const char* message, void (N::*handler)(),
                     std::uint16_t id) {
    if (field == v) return;
    orvWriteCheck();
    field = v;
    if (!inRange) orvRangeFail(message);
    orvChanged<N>(handler, id);
  }
  [[noreturn]] static void orvRangeFail(const char* message);

 private:
  friend class Orv::NotifieeConst;

  template <class N>
  [[gnu::noinline, gnu::cold]] void orvChangedHooked(void (N::*handler)(), std::uint16_t id) const {
    if (!notify_.active) return;
    NotifieeConst* n = notifiees_;
    if (n->next_ == nullptr) {
      // One notifiee (an adapter alone, the common case): no cursor needed.
      if (!n->orvAttrHook(id)) (static_cast<N&>(*n).*handler)();
      return;
    }
    struct Call {
      void (N::*handler)();
      static void on(NotifieeConst& n, const void* c) {
        (static_cast<N&>(n).*static_cast<const Call*>(c)->handler)();
      }
    } call{handler};
    orvNotifyHooked(id, nullptr, &Call::on, &call);
  }
  template <class N, class P, class K>
  [[gnu::noinline, gnu::cold]] void orvMemberHooked(std::uint16_t id, const K& k,
                                                    void (N::*handler)(P)) const {
    if (!notify_.active) return;
    const MemberKey key{&k, &MemberKey::writeOf<K>};
    struct Call {
      void (N::*handler)(P);
      const K* k;
      static void on(NotifieeConst& n, const void* c) {
        auto* self = static_cast<const Call*>(c);
        (static_cast<N&>(n).*self->handler)(*self->k);
      }
    } call{handler, &k};
    orvNotifyHooked(id, &key, &Call::on, &call);
  }
  // The loop of orvNotifyAll with the hooks offered first, out of line: only
  // entities with an adapter attached take it. call(n, c) runs n's handler.
  void orvNotifyHooked(std::uint16_t id, const MemberKey* key,
                       void (*call)(NotifieeConst& n, const void* c), const void* c) const;

  template <class N, class F>
  void orvNotifyAll(F& f) const {
    NotifieeConst* n = notifiees_;
    if (n->next_ == nullptr) {
      // One notifiee: nothing can come after it, so no cursor is needed.
      f(static_cast<N&>(*n));
      return;
    }
    detail::NotifyCursor*& top = detail::notifyCursors();
    detail::NotifyCursor cursor{nullptr, top};
    top = &cursor;
    struct Pop {
      detail::NotifyCursor*& top;
      detail::NotifyCursor* outer;
      ~Pop() { top = outer; }
    } pop{top, cursor.outer};
    for (; n != nullptr; n = cursor.next) {
      cursor.next = n->next_;
      f(static_cast<N&>(*n));
    }
  }

  NotifieeConst* notifiees_ = nullptr;
  Entity* parent_ = nullptr;  // not counted: the parent owns the child
  std::uint16_t parentAttrId_ = 0;
  // Whether changes notify, and how many attached notifiees override the
  // change hooks (in what was padding: entities stay the same size). A
  // setter tests both bytes with one compare.
  struct NotifyState {
    bool active = false;
    std::uint8_t hooked = 0;
    bool plain() const { return std::bit_cast<std::uint16_t>(*this) == plainBits; }
    static const std::uint16_t plainBits;
  };
  mutable NotifyState notify_;
  bool readOnlyProxy_ = false;
};
inline constexpr std::uint16_t Entity::NotifyState::plainBits =
    std::bit_cast<std::uint16_t>(NotifyState{true, 0});

// Lets the next write of a read-only proxy through (once), for the scope of
// the object: an attribute-log adapter applying an entry from the entity's
// source. Writes that reactors make in reaction stay refused.
class OrvWriteLift {
 public:
  explicit OrvWriteLift(const Entity& e) : old_(detail::writeLiftTop) {
    detail::writeLiftTop = e.readOnlyProxy() ? &e : nullptr;
  }
  ~OrvWriteLift() { detail::writeLiftTop = old_; }
  OrvWriteLift(const OrvWriteLift&) = delete;
  OrvWriteLift& operator=(const OrvWriteLift&) = delete;

 private:
  const Entity* old_;
};

// Base of a generated T::NotifieeConst: the notifier, typed as T.
template <class T>
class NotifieeConstOf : public NotifieeConst {
 public:
  using Notifier = T;
  Ptr<const T> notifier() const { return Ptr<const T>(static_cast<const T*>(notifierEntity())); }
  void notifierIs(const Ptr<const T>& n) { notifierIsBase(n.ptr()); }
};

// Base of a generated T::Notifiee: the same handlers with a notifier that
// may be changed.
template <class T, class Const>
class NotifieeOf : public Const {
 public:
  Ptr<T> notifier() const {
    return Ptr<T>(const_cast<T*>(static_cast<const T*>(this->notifierEntity())));
  }
  void notifierIs(const Ptr<T>& n) { Const::notifierIs(n); }
};

// Allocates an entity of type T through its tracked operator new, takes a
// counted pointer and switches notification on. If the constructor throws,
// the allocation is withdrawn before the exception passes on.
template <class T, class... A>
Ptr<T> entityIs(A&&... args) {
  Ptr<T> p(new T(std::forward<A>(args)...));
  p->hasNotificationActiveIs(true);
  return p;
}

// The same for an entity the caller has just allocated (a type's own
// factory, which may reach a protected constructor): takes the first
// counted pointer and switches notification on.
template <class T>
Ptr<T> entityAdopt(T* fresh) {
  Ptr<T> p(fresh);
  p->hasNotificationActiveIs(true);
  return p;
}

}  // namespace Orv
