// The hashed collections. Include <ipmodel/Orv/Collections.h>, which
// describes what all collections share.
//
//   Orv::HashMap2018<K, V>     one separate node per member
//   Orv::HashMap<K, E, KeyOf>  members are counted objects (derived from
//                              Orv::PtrInterface and Orv::HashLink) and the
//                              chain link lives inside them; KeyOf::key(e)
//                              gives a member's key
//
// Layout and order. A table has 2^b buckets. A key's reversed hash is
// bitReverse32(hashOf(key)); its bucket is the reversed hash's top b bits
// (reversed >> (32 - b)). Each chain is kept sorted by (reversed hash, key
// operator<), so walking the buckets in turn visits members in (reversed
// hash, key) order: deterministic, and the same whatever the insertion
// history and the table size. Doubling the table splits every chain into two
// in place, already sorted. A lookup stops once the chain passes its
// reversed hash.
//
// Growth. An empty map owns no bucket array; the first insert allocates 8
// buckets, and the table doubles whenever the size exceeds the bucket count.
// Removals never shrink it; clear() and delAll() free it.
#pragma once

#include <array>

#include <ipmodel/Orv/Collections.h>
#include <ipmodel/Orv/Export.h>

namespace Orv {

// The chain link of a hashed collection's member (the framework's entity
// base derives from it). orvHashRev_ caches the member's reversed hash.
struct HashLink {
  HashLink* orvHashNext_ = nullptr;
  std::uint32_t orvHashRev_ = 0;
};

namespace detail {

// bitReverse32 through four byte tables, each entry already shifted into
// place: the same value in about half the instructions, which matters
// because every lookup reverses one hash (4 KiB of constant tables).
struct ReverseTables {
  std::array<std::array<std::uint32_t, 256>, 4> t{};
  constexpr ReverseTables() {
    for (std::uint32_t b = 0; b < 256; ++b) {
      for (int j = 0; j < 4; ++j) t[j][b] = bitReverse32(b) >> (8 * j);
    }
  }
};
alignas(64) inline constexpr ReverseTables kReverseTables;

// Forced inline, like reversedHash below: every lookup runs them, and an
// out-of-line call costs as much as the work.
[[gnu::always_inline]] inline std::uint32_t reverseBits32(std::uint32_t v) {
  const auto& t = kReverseTables.t;
  return t[0][v & 0xff] | t[1][(v >> 8) & 0xff] | t[2][(v >> 16) & 0xff] | t[3][v >> 24];
}

// The reversed hash that places and orders a key.
template <class K>
[[gnu::always_inline]] inline std::uint32_t reversedHash(const K& key) {
  return reverseBits32(hashOf(key));
}

// Tag type of the bucket arrays' allocation tracker (HashCore::bucketTrack()).
struct HashBuckets {};

class IPMODEL_API HashCore {
 public:
  static constexpr unsigned kInitialBucketBits = 3;

  HashCore() = default;
  HashCore(const HashCore&) = delete;
  HashCore& operator=(const HashCore&) = delete;

  // The tracker of bucket arrays (allocTrack<HashBuckets>()).
  static AllocTrackTypeInfo& bucketTrack();

  std::size_t size() const { return size_; }
  std::uint64_t version() const { return version_; }
  std::size_t bucketCount() const { return hasBuckets() ? std::size_t(1) << (32 - shift_) : 0; }
  // Without an array the shift is 32 and every index 0, the shared empty slot.
  std::size_t bucketIndex(std::uint32_t rev) const {
    return static_cast<std::size_t>(std::uint64_t{rev} >> shift_);
  }
  HashLink* bucket(std::uint32_t rev) const { return buckets_[bucketIndex(rev)]; }
  // Only with an array (after ensureBuckets(), or for a member's key).
  HashLink** bucketSlot(std::uint32_t rev) { return &buckets_[bucketIndex(rev)]; }

  HashLink* first() const { return size_ ? firstFrom(0) : nullptr; }
  // Successor of a linked member.
  HashLink* next(const HashLink* n) const {
    return n->orvHashNext_ ? n->orvHashNext_ : firstFrom(bucketIndex(n->orvHashRev_) + 1);
  }
  // First member of the first non-empty bucket at or after index b.
  HashLink* firstFrom(std::size_t b) const;

  void ensureBuckets() {
    if (!hasBuckets()) [[unlikely]]
      allocateInitial();
  }
  // Links n before *slot (a position in its chain) and grows the table when
  // the size passes the bucket count.
  void linkAt(HashLink** slot, HashLink* n) {
    n->orvHashNext_ = *slot;
    *slot = n;
    ++version_;
    if (++size_ > bucketCount()) grow();
  }
  // Unlinks the member at *slot; its reference passes to the caller.
  void unlinkAt(HashLink** slot) {
    HashLink* n = *slot;
    *slot = n->orvHashNext_;
    n->orvHashNext_ = nullptr;
    --size_;
    ++version_;
  }
  // Empties the map and frees the bucket array first, then calls drop(n)
  // for every former member.
  void clearWith(void (*drop)(HashLink*));
  // Moves o's members and bucket array here; this must own none.
  void takeFrom(HashCore& o);
  // Asserts that every member sits in its bucket and that the size matches.
  void checkShape() const;

 private:
  // Read by lookups in a map without an array; never written.
  static constexpr HashLink* kNoBuckets[1] = {nullptr};

  bool hasBuckets() const { return shift_ != 32; }
  void allocateInitial();
  void grow();

  HashLink** buckets_ = const_cast<HashLink**>(kNoBuckets);
  std::size_t size_ = 0;
  std::uint64_t version_ = 0;
  std::uint8_t shift_ = 32;  // 32 - log2(bucket count)
};

// The searches shared by both hashed maps. Ops supplies the key of a link.
template <class K, class Ops>
struct HashSearch {
  // The member with key, or null.
  static HashLink* find(const HashCore& core, const K& key) {
    const std::uint32_t rev = reversedHash(key);
    for (HashLink* n = core.bucket(rev); n; n = n->orvHashNext_) {
      if (n->orvHashRev_ >= rev) {
        if (n->orvHashRev_ != rev) break;
        if (Ops::key(n) == key) return n;
      }
    }
    return nullptr;
  }
  // The chain position of key: either the slot holding the member with
  // key (*slot non-null, found true) or the slot to link it at.
  static HashLink** slotOf(HashCore& core, const K& key, std::uint32_t rev, bool& found) {
    HashLink** slot = core.bucketSlot(rev);
    for (HashLink* n; (n = *slot) != nullptr; slot = &n->orvHashNext_) {
      if (n->orvHashRev_ < rev) continue;
      if (n->orvHashRev_ > rev) break;
      if (Ops::key(n) == key) {
        found = true;
        return slot;
      }
      if (key < Ops::key(n)) break;
    }
    found = false;
    return slot;
  }
  // First member at or after (orEqual) / after (rev, key).
  static HashLink* bound(const HashCore& core, const K& key, std::uint32_t rev, bool orEqual) {
    for (HashLink* n = core.bucket(rev); n; n = n->orvHashNext_) {
      if (n->orvHashRev_ < rev) continue;
      if (n->orvHashRev_ > rev) return n;
      if (orEqual ? !(Ops::key(n) < key) : key < Ops::key(n)) return n;
    }
    return core.firstFrom(core.bucketIndex(rev) + 1);
  }
  // Asserts each member's cached reversed hash and the strict chain order.
  static void checkOrder(const HashCore& core) {
    core.checkShape();
    for (HashLink* n = core.first(); n; n = core.next(n)) {
      ORV_ASSERT(n->orvHashRev_ == bitReverse32(hashOf(Ops::key(n))));  // the plain formula
      HashLink* after = core.next(n);
      ORV_ASSERT(!after || n->orvHashRev_ < after->orvHashRev_ ||
                 (n->orvHashRev_ == after->orvHashRev_ && Ops::key(n) < Ops::key(after)));
    }
  }
};

}  // namespace detail

template <class K, class V>
class HashMap2018 : public detail::NodeMap<HashMap2018<K, V>, K, V, detail::HashCore> {
  using Base = detail::NodeMap<HashMap2018<K, V>, K, V, detail::HashCore>;

 public:
  class Node : public HashLink, public AllocTracked<Node> {
   public:
    const K& key() const { return key_; }
    V& value() { return value_; }
    const V& value() const { return value_; }

   private:
    friend class HashMap2018;
    friend class CollNodeRef<Node>;
    Node(const K& k, V&& v) : key_(k), value_(std::move(v)) {}
    ~Node() = default;

    std::uint32_t refs_ = 0;  // the map's reference plus iterators and holders
    const K key_;
    V value_;
  };

  using NodeRef = CollNodeRef<Node>;
  using Base::insert;
  using typename Base::const_iterator;
  using typename Base::iterator;

  HashMap2018() = default;
  HashMap2018(const HashMap2018& o) : Base() { this->copyFrom(o); }
  HashMap2018(HashMap2018&&) noexcept = default;
  HashMap2018& operator=(const HashMap2018&) = default;
  HashMap2018& operator=(HashMap2018&&) noexcept = default;

  std::size_t bucketCount() const { return core_.bucketCount(); }
  // The bucket key falls in at the current size (0 without a bucket array).
  std::size_t bucketOf(const K& key) const { return core_.bucketIndex(detail::reversedHash(key)); }

  // Inserts when key is absent: (stored value, true). Otherwise (existing
  // value, false), which is left unchanged.
  std::pair<V*, bool> insert(const K& key, V value) {
    const std::uint32_t rev = detail::reversedHash(key);
    core_.ensureBuckets();
    bool found;
    HashLink** slot = Search::slotOf(core_, key, rev, found);
    if (found) return {&node(*slot)->value_, false};
    Node* n = new Node(key, std::move(value));
    n->orvHashRev_ = rev;
    n->refs_ = 1;
    core_.linkAt(slot, n);
    return {&n->value_, true};
  }

  // Unlinks the member with key and hands over the map's reference; empty
  // when absent.
  NodeRef extract(const K& key) {
    if (this->empty()) return NodeRef();
    bool found;
    HashLink** slot = Search::slotOf(core_, key, detail::reversedHash(key), found);
    if (!found) return NodeRef();
    Node* n = node(*slot);
    core_.unlinkAt(slot);
    return NodeRef::adopt(n);
  }

  // First member at or after / after key in (reversed hash, key) order.
  iterator lowerBound(const K& key) { return iterator(this, boundNode(key, true)); }
  const_iterator lowerBound(const K& key) const {
    return const_iterator(this, boundNode(key, true));
  }
  iterator upperBound(const K& key) { return iterator(this, boundNode(key, false)); }
  const_iterator upperBound(const K& key) const {
    return const_iterator(this, boundNode(key, false));
  }

  // Asserts chain placement and order, cached hashes and live counts.
  void checkInvariants() const {
    Search::checkOrder(core_);
    for (const Node* n = firstNode(); n; n = nextElem(n)) ORV_ASSERT(n->refs_ >= 1);
  }

 private:
  friend Base;
  template <class, bool>
  friend class CollIter;
  using Elem = Node;
  using Holder = NodeRef;
  using Base::core_;
  struct Ops {
    static const K& key(const HashLink* l) { return static_cast<const Node*>(l)->key_; }
  };
  using Search = detail::HashSearch<K, Ops>;

  static Node* node(HashLink* l) { return static_cast<Node*>(l); }
  static void dropNode(HashLink* l) { NodeRef::adopt(node(l)); }

  static const K& elemKey(const Node& n) { return n.key_; }
  static V& elemValue(Node& n) { return n.value_; }
  static const V& elemValue(const Node& n) { return n.value_; }
  Node* nextElem(const Node* n) const { return node(core_.next(n)); }
  Node* elemAfter(const Node& n) const {
    return node(Search::bound(core_, n.key_, n.orvHashRev_, false));
  }
  Node* firstNode() const { return node(core_.first()); }
  Node* findNode(const K& key) const { return node(Search::find(core_, key)); }
  void unlinkNode(Node* n) {
    bool found;
    HashLink** slot = Search::slotOf(core_, n->key_, n->orvHashRev_, found);
    ORV_ASSERT(found && *slot == n);
    core_.unlinkAt(slot);
  }
  // An emptied map frees its bucket array.
  void delAllDone() {
    if (this->empty()) core_.clearWith(&dropNode);
  }
  Node* boundNode(const K& key, bool orEqual) const {
    return node(Search::bound(core_, key, detail::reversedHash(key), orEqual));
  }
};

// Intrusive hashed map of counted members. Holds one reference per member
// (newRef on insert, deleteRef on removal). A member belongs to at most one
// HashMap at a time, and its key must not change while it is a member.
template <class K, class E, class KeyOf>
class HashMap {
 public:
  using key_type = K;
  using element_type = E;
  using iterator = CollIter<HashMap, false>;
  using const_iterator = CollIter<HashMap, true>;

  HashMap() = default;
  HashMap(const HashMap&) = delete;
  HashMap& operator=(const HashMap&) = delete;
  HashMap(HashMap&& o) noexcept { core_.takeFrom(o.core_); }
  HashMap& operator=(HashMap&& o) noexcept {
    if (this != &o) {
      clear();
      core_.takeFrom(o.core_);
    }
    return *this;
  }
  ~HashMap() { clear(); }

  std::size_t size() const { return core_.size(); }
  bool empty() const { return core_.size() == 0; }
  std::uint64_t version() const { return core_.version(); }
  std::size_t bucketCount() const { return core_.bucketCount(); }
  // The bucket key falls in at the current size (0 without a bucket array).
  std::size_t bucketOf(const K& key) const { return core_.bucketIndex(detail::reversedHash(key)); }

  E* find(const K& key) { return elem(Search::find(core_, key)); }
  const E* find(const K& key) const { return elem(Search::find(core_, key)); }
  bool contains(const K& key) const { return Search::find(core_, key) != nullptr; }

  // Inserts e when its key is absent and takes a reference: true. Otherwise
  // false, leaving the existing member in place.
  bool insert(E* e) {
    ORV_ASSERT(e != nullptr);
    HashLink* link = e;
    ORV_ASSERT(link->orvHashNext_ == nullptr);  // not linked in another chain
    const K& key = KeyOf::key(*e);
    const std::uint32_t rev = detail::reversedHash(key);
    core_.ensureBuckets();
    bool found;
    HashLink** slot = Search::slotOf(core_, key, rev, found);
    if (found) return false;
    link->orvHashRev_ = rev;
    e->newRef();
    core_.linkAt(slot, link);
    return true;
  }
  bool insert(const Ptr<E>& e) { return insert(e.ptr()); }

  // Unlinks the member with key and returns it; null when absent.
  Ptr<E> extract(const K& key) {
    if (empty()) return Ptr<E>();
    bool found;
    HashLink** slot = Search::slotOf(core_, key, detail::reversedHash(key), found);
    if (!found) return Ptr<E>();
    Ptr<E> e(elem(*slot));
    core_.unlinkAt(slot);
    e->deleteRef();  // the map's reference; e still holds one
    return e;
  }

  // Removes every member in order, calling removed(key, member) after each
  // is unlinked and before the map's reference is dropped (see
  // Collections.h).
  template <class F>
  void delAll(F&& removed) {
    E* cur = firstElem();
    while (cur) {
      E* following = nextElem(cur);
      Ptr<E> held(cur);
      bool found;
      HashLink** slot = Search::slotOf(core_, KeyOf::key(*cur), linkOf(cur)->orvHashRev_, found);
      ORV_ASSERT(found && *slot == linkOf(cur));
      core_.unlinkAt(slot);
      cur->deleteRef();
      const std::uint64_t seen = version();
      removed(KeyOf::key(*held), *held);
      cur = version() == seen ? following : elemAfter(*held);
    }
    if (empty()) core_.clearWith(&dropElem);  // frees the bucket array
  }

  void clear() { core_.clearWith(&dropElem); }

  iterator begin() { return iterator(this, firstElem()); }
  iterator end() { return iterator(); }
  const_iterator begin() const { return const_iterator(this, firstElem()); }
  const_iterator end() const { return const_iterator(); }
  const_iterator cbegin() const { return begin(); }
  const_iterator cend() const { return end(); }
  iterator lowerBound(const K& key) { return iterator(this, boundElem(key, true)); }
  const_iterator lowerBound(const K& key) const {
    return const_iterator(this, boundElem(key, true));
  }
  iterator upperBound(const K& key) { return iterator(this, boundElem(key, false)); }
  const_iterator upperBound(const K& key) const {
    return const_iterator(this, boundElem(key, false));
  }

  // Asserts chain placement and order, cached hashes and live counts.
  void checkInvariants() const {
    Search::checkOrder(core_);
    for (const E* e = firstElem(); e; e = nextElem(e)) ORV_ASSERT(e->references() >= 1);
  }

 private:
  template <class, bool>
  friend class CollIter;
  using Elem = E;
  using Holder = Ptr<E>;
  struct Ops {
    static decltype(auto) key(const HashLink* l) { return KeyOf::key(*static_cast<const E*>(l)); }
  };
  using Search = detail::HashSearch<K, Ops>;

  static E* elem(HashLink* l) { return static_cast<E*>(l); }
  static const HashLink* linkOf(const E* e) { return e; }
  static void dropElem(HashLink* l) { elem(l)->deleteRef(); }

  static decltype(auto) elemKey(const E& e) { return KeyOf::key(e); }
  static E& elemValue(E& e) { return e; }
  static const E& elemValue(const E& e) { return e; }
  E* nextElem(const E* e) const { return elem(core_.next(e)); }
  E* elemAfter(const E& e) const {
    return elem(Search::bound(core_, KeyOf::key(e), linkOf(&e)->orvHashRev_, false));
  }
  E* firstElem() const { return elem(core_.first()); }
  E* boundElem(const K& key, bool orEqual) const {
    return elem(Search::bound(core_, key, detail::reversedHash(key), orEqual));
  }

  detail::HashCore core_;
};

}  // namespace Orv
