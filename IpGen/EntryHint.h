// How the family-neutral view answers queries about the interface a change
// is being announced for without looking its entry up again.
//
// A consumer that hears a counter bump usually asks about the interface the
// change named (intf(changedIntf), activeAddr(changedIntf)). The state
// machine that announces the change already knows where that interface's
// entry sits in the adapter's collection: it keeps the entry's slot from its
// last lookup (EntrySlot) and, for the length of the announcement, points
// the adapter at it (EntryHint, set by EntryHintScope). The adapter then
// answers queries about that interface from the slot, after checking that
// the entry there is that interface's.
//
// A slot is trusted only while the collection's version is the one it was
// found at. The version moves with every insert and removal, so an
// unchanged version means the member is still linked under its key; a value
// assigned to a present key is written through the same slot, so reading
// through it always gives the collection's current member. Anything else
// (another interface, a collection changed meanwhile) takes the ordinary
// lookup. The answers are therefore exactly those of a lookup.
#pragma once

#include <cstdint>

#include <ipmodel/Lumen/IntfId.h>
#include <ipmodel/Orv/Ptr.h>

namespace IpGen::detail {

// One interface's entry in a hashed collection of entries keyed by
// interface, as found by the last lookup: the member's slot (null when the
// key was absent) and the collection's version at that lookup.
template <class Entry>
class EntrySlot {
 public:
  using Slot = const Orv::Ptr<const Entry>*;

  // The slot of k in coll, looked up again only when coll changed since the
  // last lookup.
  template <class Coll>
  Slot slotIn(const Coll& coll, const Lumen::IntfId& k) {
    const std::uint64_t v = coll.version();
    if (!known_ || version_ != v) {
      slot_ = coll.find(k);
      version_ = v;
      known_ = true;
    }
    return slot_;
  }
  std::uint64_t version() const { return version_; }

 private:
  Slot slot_ = nullptr;
  std::uint64_t version_ = 0;
  bool known_ = false;
};

// Where the entry of the interface an announcement in progress is about
// sits; empty outside announcements. The entry names its own interface
// (its intfId, the collection's key), so the hint needs no key of its own.
template <class Entry>
class EntryHint {
 public:
  using Slot = typename EntrySlot<Entry>::Slot;

  // The entry of k if the hint answers for k in a collection now at
  // version, else null (the caller then looks k up).
  const Entry* entry(const Lumen::IntfId& k, std::uint64_t version) const {
    if (slot_ == nullptr || version_ != version) return nullptr;
    const Entry* e = slot_->ptr();
    return e->intfId() == k ? e : nullptr;
  }

 private:
  template <class>
  friend class EntryHintScope;

  Slot slot_ = nullptr;
  std::uint64_t version_ = 0;
};

// Points hint at key's entry in coll for the life of the scope and puts the
// previous hint back afterwards (announcements nest). The scope holds owner,
// the adapter the hint belongs to, so that a consumer letting go of it
// inside a notification does not leave the scope writing to freed memory.
template <class Entry>
class EntryHintScope {
 public:
  // No hint (an adapter of the other family).
  EntryHintScope() = default;
  template <class Coll>
  EntryHintScope(const Orv::PtrInterface& owner, EntryHint<Entry>& hint, const Coll& coll,
                 const Lumen::IntfId& key, EntrySlot<Entry>& slot)
      : owner_(&owner), hint_(&hint), saved_(hint) {
    hint.slot_ = slot.slotIn(coll, key);
    hint.version_ = slot.version();
  }
  EntryHintScope(const EntryHintScope&) = delete;
  EntryHintScope& operator=(const EntryHintScope&) = delete;
  ~EntryHintScope() {
    if (hint_ != nullptr) *hint_ = saved_;
  }

 private:
  Orv::Ptr<const Orv::PtrInterface> owner_;
  EntryHint<Entry>* hint_ = nullptr;
  EntryHint<Entry> saved_;
};

}  // namespace IpGen::detail
