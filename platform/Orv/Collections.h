// The framework's collections:
//
//   Orv::RbTreeMap<K, V>            ordered by K's operator< (RbTreeMap.h)
//   Orv::HashMap2018<K, V>          hashed, one separate node per member (HashMap.h)
//   Orv::HashMap<K, E, KeyOf>       hashed, the chain link lives in the member (HashMap.h)
//
// A set is a map to Orv::Unit.
//
// What the three share:
// - size(), empty(), version(). The version is a change counter bumped by
//   every insert and every removal (not by assigning a stored value).
// - find(key) returns a pointer to the stored value (the member for
//   HashMap), or null.
// - insert adds a member when its key is absent and never replaces one.
// - extract(key) unlinks a member and returns a counted reference that keeps
//   key and value alive until it is dropped, so the caller can report the
//   removal first.
// - delAll(removed) removes every member, reporting each with removed(key,
//   value) (value is V& in the maps, E& in HashMap) while it is still alive.
//   A callback may insert or remove members: the walk then continues with
//   the first member after the removed one, so members inserted before it
//   survive and members inserted after it are removed too.
// - Iterators hold a counted reference to their current member plus the
//   version they saw. The member outlives its removal while an iterator is
//   on it, and ++ after any change moves to the first member after the
//   current key. Dereferencing gives the node (key(), value()) in the maps
//   and the member (E&) in HashMap; the iterator itself also answers key()
//   and value(). An iterator that outlives its collection may only be
//   dropped (which frees the member it holds).
// - Nodes of RbTreeMap and HashMap2018 are small reference-counted objects
//   (count inside, no virtual functions) allocated through
//   Orv::AllocTracked<Node>, so allocTrack<Map::Node>() counts them.
//
// Costs: insert allocates one node (HashMap: none) plus, in the hashed maps,
// an occasional doubling of the bucket array; find, extract, delAll and
// iteration allocate nothing. Collections take no locks; node counts follow
// the thread-safe-pointers switch like every other count.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>
#include <utility>

#include <ipmodel/Orv/AllocTrack.h>
#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/Hash.h>
#include <ipmodel/Orv/Ptr.h>

namespace Orv {

// The value type of a set.
struct Unit {
  bool operator==(const Unit&) const { return true; }
};

namespace detail {

inline void collRefInc(std::uint32_t& refs) {
  if (threadSafePtrs) [[unlikely]] {
    std::atomic_ref<std::uint32_t>(refs).fetch_add(1, std::memory_order_relaxed);
  } else {
    ++refs;
  }
}

// True when the last reference went.
inline bool collRefDec(std::uint32_t& refs) {
  if (threadSafePtrs) [[unlikely]] {
    return std::atomic_ref<std::uint32_t>(refs).fetch_sub(1, std::memory_order_acq_rel) == 1;
  }
  return --refs == 0;
}

}  // namespace detail

// A counted reference to a collection node (Map::NodeRef). The collection
// holds one reference per member; the node is freed when the last goes.
template <class Node>
class CollNodeRef {
 public:
  CollNodeRef() noexcept = default;
  explicit CollNodeRef(Node* n) noexcept : n_(n) {
    if (n_) detail::collRefInc(n_->refs_);
  }
  CollNodeRef(const CollNodeRef& o) noexcept : CollNodeRef(o.n_) {}
  CollNodeRef(CollNodeRef&& o) noexcept : n_(std::exchange(o.n_, nullptr)) {}
  CollNodeRef& operator=(const CollNodeRef& o) noexcept {
    CollNodeRef(o).swap(*this);
    return *this;
  }
  CollNodeRef& operator=(CollNodeRef&& o) noexcept {
    CollNodeRef(std::move(o)).swap(*this);
    return *this;
  }
  ~CollNodeRef() { reset(); }

  // Takes over a reference the caller already owns (the collection's, when
  // it unlinks a node).
  static CollNodeRef adopt(Node* n) noexcept {
    CollNodeRef r;
    r.n_ = n;
    return r;
  }

  void reset() noexcept {
    if (Node* n = std::exchange(n_, nullptr); n && detail::collRefDec(n->refs_)) delete n;
  }
  void swap(CollNodeRef& o) noexcept { std::swap(n_, o.n_); }

  Node* ptr() const noexcept { return n_; }
  explicit operator bool() const noexcept { return n_ != nullptr; }
  Node& operator*() const noexcept { return *n_; }
  Node* operator->() const noexcept { return n_; }
  const auto& key() const {
    ORV_ASSERT(n_ != nullptr);
    return n_->key();
  }
  auto& value() const {
    ORV_ASSERT(n_ != nullptr);
    return n_->value();
  }

 private:
  Node* n_ = nullptr;
};

// The iterator of every collection. Map supplies:
//   Elem, Holder           member type and counted reference to one
//   elemKey(e), elemValue(e)
//   nextElem(e)            successor of a member that is still linked
//   elemAfter(e)           first member after e's key (e may be unlinked)
//   firstElem(), version()
template <class Map, bool Const>
class CollIter {
  using MapT = std::conditional_t<Const, const Map, Map>;
  using Elem = typename Map::Elem;
  using Holder = typename Map::Holder;

 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = Elem;
  using difference_type = std::ptrdiff_t;
  using reference = std::conditional_t<Const, const Elem&, Elem&>;
  using pointer = std::conditional_t<Const, const Elem*, Elem*>;

  CollIter() = default;
  CollIter(MapT* map, Elem* e) : map_(map), at_(e), version_(map->version()) {}
  // iterator converts to const_iterator.
  operator CollIter<Map, true>() const  // NOLINT
      requires(!Const) {
    CollIter<Map, true> r;
    r.map_ = map_;
    r.at_ = at_;
    r.version_ = version_;
    return r;
  }

  reference operator*() const {
    ORV_ASSERT(at_);
    return *at_.ptr();
  }
  pointer operator->() const {
    ORV_ASSERT(at_);
    return at_.ptr();
  }
  decltype(auto) key() const {
    ORV_ASSERT(at_);
    return Map::elemKey(*at_.ptr());
  }
  auto& value() const {
    ORV_ASSERT(at_);
    return Map::elemValue(static_cast<reference>(*at_.ptr()));
  }

  CollIter& operator++() {
    ORV_ASSERT(at_);
    if (map_->version() == version_) {
      at_ = Holder(map_->nextElem(at_.ptr()));
    } else {
      at_ = Holder(map_->elemAfter(*at_.ptr()));
      version_ = map_->version();
    }
    return *this;
  }
  CollIter operator++(int) {
    CollIter r = *this;
    ++*this;
    return r;
  }

  template <bool C>
  bool operator==(const CollIter<Map, C>& o) const {
    return at_.ptr() == o.at_.ptr();
  }

 private:
  template <class, bool>
  friend class CollIter;

  MapT* map_ = nullptr;
  Holder at_;
  std::uint64_t version_ = 0;
};

namespace detail {

// What the node-holding maps (RbTreeMap, HashMap2018) share, written once:
// copying, moving, equality, lookups, iteration and the delAll walk. Derived
// supplies Node, Elem/Holder for CollIter and these members:
//   core_                     the key-free core (size, version, first, clearWith, takeFrom)
//   findNode(key)             the member with key, or null
//   nextElem(n)               successor of a linked member
//   elemAfter(n)              first member after n's key (n may be unlinked)
//   unlinkNode(n)             unlinks a member, its reference passing to the caller
//   dropNode(link)            drops the collection's reference (for clearWith)
//   delAllDone()              runs after delAll emptied the collection
template <class Derived, class K, class V, class Core>
class NodeMap {
 public:
  using key_type = K;
  using mapped_type = V;

  NodeMap() = default;
  NodeMap(NodeMap&& o) noexcept { core_.takeFrom(o.core_); }
  NodeMap& operator=(const NodeMap& o) {
    if (this != &o) {
      Derived copy(o.self());
      clear();
      core_.takeFrom(copy.core_);
    }
    return *this;
  }
  NodeMap& operator=(NodeMap&& o) noexcept {
    if (this != &o) {
      clear();
      core_.takeFrom(o.core_);
    }
    return *this;
  }
  ~NodeMap() { clear(); }

  // Same keys with equal values, in iteration order (the same for equal
  // contents).
  bool operator==(const NodeMap& o) const {
    if (size() != o.size()) return false;
    for (auto *a = self().firstNode(), *b = o.self().firstNode(); a;
         a = self().nextElem(a), b = o.self().nextElem(b)) {
      if (!(a->key() == b->key()) || !(a->value() == b->value())) return false;
    }
    return true;
  }

  std::size_t size() const { return core_.size(); }
  bool empty() const { return core_.size() == 0; }
  std::uint64_t version() const { return core_.version(); }

  V* find(const K& key) {
    auto* n = self().findNode(key);
    return n ? &n->value() : nullptr;
  }
  const V* find(const K& key) const {
    const auto* n = self().findNode(key);
    return n ? &n->value() : nullptr;
  }
  bool contains(const K& key) const { return self().findNode(key) != nullptr; }

  std::pair<V*, bool> insert(const K& key) requires std::is_same_v<V, Unit> {
    return self().insert(key, Unit{});
  }

  // Removes every member in order, calling removed(key, value) after each
  // is unlinked and before it is dropped (see the top of this file).
  template <class F>
  void delAll(F&& removed) {
    auto* cur = self().firstNode();
    while (cur) {
      auto* following = self().nextElem(cur);
      self().unlinkNode(cur);
      auto held = Derived::NodeRef::adopt(cur);
      const std::uint64_t seen = version();
      removed(held->key(), held->value());
      cur = version() == seen ? following : self().elemAfter(*held);
    }
    self().delAllDone();
  }

  void clear() { core_.clearWith(&Derived::dropNode); }

  using iterator = CollIter<Derived, false>;
  using const_iterator = CollIter<Derived, true>;
  iterator begin() { return iterator(&self(), self().firstNode()); }
  iterator end() { return iterator(); }
  const_iterator begin() const { return const_iterator(&self(), self().firstNode()); }
  const_iterator end() const { return const_iterator(); }
  const_iterator cbegin() const { return begin(); }
  const_iterator cend() const { return end(); }

 protected:
  // The copy constructor's work: every member of o, in o's order. On an
  // exception nothing is kept.
  void copyFrom(const Derived& o) {
    try {
      for (auto* n = o.firstNode(); n; n = o.nextElem(n)) self().insert(n->key(), V(n->value()));
    } catch (...) {
      clear();
      throw;
    }
  }
  void delAllDone() {}

  Derived& self() { return static_cast<Derived&>(*this); }
  const Derived& self() const { return static_cast<const Derived&>(*this); }

  Core core_;
};

}  // namespace detail

// What an entity hands out for one of its collection attributes: the
// members in the collection's order and their count, without the container
// type or its mutators. CollRange<const Map> iterates with const_iterator;
// CollRange<Map> (offered for collections of entities the owner created)
// with iterator, which reaches the members themselves.
template <class Map>
class CollRange {
 public:
  using iterator =
      std::conditional_t<std::is_const_v<Map>, typename std::remove_const_t<Map>::const_iterator,
                         typename Map::iterator>;
  using const_iterator = typename std::remove_const_t<Map>::const_iterator;

  explicit CollRange(Map& map) : map_(&map) {}
  iterator begin() const { return map_->begin(); }
  iterator end() const { return map_->end(); }
  const_iterator cbegin() const { return map_->cbegin(); }
  const_iterator cend() const { return map_->cend(); }
  std::size_t size() const { return map_->size(); }
  bool empty() const { return map_->empty(); }
  // The collection's change counter (see the top of this file): a member
  // found at one version is still linked under its key while it holds.
  std::uint64_t version() const { return map_->version(); }
  template <class K>
  bool contains(const K& k) const {
    return map_->find(k) != nullptr;
  }
  // The first member at or after k in the collection's order, so that a walk
  // can resume from a member it remembers by key.
  template <class K>
  iterator lowerBound(const K& k) const {
    return map_->lowerBound(k);
  }
  // The member under k (its value, or the entity), null when k is absent:
  // one lookup where contains() and a read would take two.
  template <class K>
  auto find(const K& k) const {
    return map_->find(k);
  }
  // Hashed collections: the bucket array's current size.
  std::size_t bucketCount() const requires requires(const Map& m) { m.bucketCount(); }
  { return map_->bucketCount(); }

 private:
  Map* map_;
};

}  // namespace Orv

#include <ipmodel/Orv/HashMap.h>
#include <ipmodel/Orv/RbTreeMap.h>
