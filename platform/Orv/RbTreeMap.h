// Orv::RbTreeMap<K, V>: a red-black tree ordered by K's operator<, keys
// compared equal with operator==. Include <ipmodel/Orv/Collections.h>, which
// describes what all collections share.
//
// Linking, rebalancing, unlinking and walking are key-free and live once in
// detail::RbTreeCore (CollRbTree.cpp); the typed template adds only the
// searches and node allocation, so the many instantiations stay small.
#pragma once

#include <ipmodel/Orv/Collections.h>
#include <ipmodel/Orv/Export.h>

namespace Orv {

namespace detail {

struct RbLink {
  RbLink* parent_ = nullptr;
  RbLink* left_ = nullptr;
  RbLink* right_ = nullptr;
  std::uint32_t refs_ = 0;  // the tree's reference plus iterators and holders
  bool red_ = false;
};

class IPMODEL_API RbTreeCore {
 public:
  RbTreeCore() = default;
  RbTreeCore(const RbTreeCore&) = delete;
  RbTreeCore& operator=(const RbTreeCore&) = delete;

  std::size_t size() const { return size_; }
  std::uint64_t version() const { return version_; }
  RbLink* root() const { return root_; }
  RbLink* first() const;
  RbLink* last() const;
  static RbLink* next(const RbLink* n);
  static RbLink* prev(const RbLink* n);

  // Links n as the left or right child of parent (the root when parent is
  // null), which must be a free position, and rebalances.
  void link(RbLink* n, RbLink* parent, bool left);
  // Unlinks n and rebalances by relinking nodes (never by moving keys), so
  // other nodes stay where iterators expect them. n's reference passes to
  // the caller.
  void unlink(RbLink* n);
  // Empties the tree first, then calls drop(n) for every former member, so
  // whatever drop runs sees an empty collection.
  void clearWith(void (*drop)(RbLink*));
  // Moves o's members here; this must be empty.
  void takeFrom(RbTreeCore& o);
  // Asserts the red-black shape, the parent links and the size.
  void checkShape() const;

 private:
  void rotateLeft(RbLink* x);
  void rotateRight(RbLink* x);
  void replaceChild(RbLink* u, RbLink* v);
  void insertFixup(RbLink* z);
  void eraseFixup(RbLink* x, RbLink* xParent);

  RbLink* root_ = nullptr;
  std::size_t size_ = 0;
  std::uint64_t version_ = 0;
};

}  // namespace detail

template <class K, class V>
class RbTreeMap : public detail::NodeMap<RbTreeMap<K, V>, K, V, detail::RbTreeCore> {
  using Base = detail::NodeMap<RbTreeMap<K, V>, K, V, detail::RbTreeCore>;

 public:
  class Node : public detail::RbLink, public AllocTracked<Node> {
   public:
    const K& key() const { return key_; }
    V& value() { return value_; }
    const V& value() const { return value_; }

   private:
    friend class RbTreeMap;
    friend class CollNodeRef<Node>;
    Node(const K& k, V&& v) : key_(k), value_(std::move(v)) {}
    ~Node() = default;

    const K key_;
    V value_;
  };

  using NodeRef = CollNodeRef<Node>;
  using Base::insert;
  using typename Base::const_iterator;
  using typename Base::iterator;

  RbTreeMap() = default;
  RbTreeMap(const RbTreeMap& o) : Base() { this->copyFrom(o); }
  RbTreeMap(RbTreeMap&&) noexcept = default;
  RbTreeMap& operator=(const RbTreeMap&) = default;
  RbTreeMap& operator=(RbTreeMap&&) noexcept = default;

  // Inserts when key is absent: (stored value, true). Otherwise (existing
  // value, false), which is left unchanged.
  std::pair<V*, bool> insert(const K& key, V value) {
    detail::RbLink* parent = nullptr;
    detail::RbLink* atOrBefore = nullptr;  // greatest member with key <= key
    bool left = true;
    for (detail::RbLink* n = core_.root(); n;) {
      parent = n;
      left = key < node(n)->key_;
      if (left) {
        n = n->left_;
      } else {
        atOrBefore = n;
        n = n->right_;
      }
    }
    if (atOrBefore && node(atOrBefore)->key_ == key) return {&node(atOrBefore)->value_, false};
    Node* n = new Node(key, std::move(value));
    n->refs_ = 1;
    core_.link(n, parent, left);
    return {&n->value_, true};
  }

  // Unlinks the member with key and hands over the collection's reference;
  // empty when absent.
  NodeRef extract(const K& key) {
    Node* n = findNode(key);
    if (!n) return NodeRef();
    core_.unlink(n);
    return NodeRef::adopt(n);
  }

  // First member whose key is not less than key / greater than key.
  iterator lowerBound(const K& key) { return iterator(this, lowerNode(key)); }
  const_iterator lowerBound(const K& key) const { return const_iterator(this, lowerNode(key)); }
  iterator upperBound(const K& key) { return iterator(this, upperNode(key)); }
  const_iterator upperBound(const K& key) const { return const_iterator(this, upperNode(key)); }

  // Asserts the tree's shape, strictly increasing keys and live counts.
  void checkInvariants() const {
    core_.checkShape();
    for (const Node* n = firstNode(); n; n = nextNode(n)) {
      ORV_ASSERT(n->refs_ >= 1);
      const Node* after = nextNode(n);
      ORV_ASSERT(!after || n->key_ < after->key_);
    }
  }

 private:
  friend Base;
  template <class, bool>
  friend class CollIter;
  using Elem = Node;
  using Holder = NodeRef;
  using Base::core_;

  static Node* node(detail::RbLink* l) { return static_cast<Node*>(l); }
  static void dropNode(detail::RbLink* l) { NodeRef::adopt(node(l)); }

  static const K& elemKey(const Node& n) { return n.key_; }
  static V& elemValue(Node& n) { return n.value_; }
  static const V& elemValue(const Node& n) { return n.value_; }
  static Node* nextNode(const Node* n) { return node(detail::RbTreeCore::next(n)); }
  Node* nextElem(const Node* n) const { return nextNode(n); }
  Node* elemAfter(const Node& n) const { return upperNode(n.key_); }
  Node* firstNode() const { return node(core_.first()); }
  void unlinkNode(Node* n) { core_.unlink(n); }

  Node* findNode(const K& key) const {
    Node* n = lowerNode(key);
    return n && n->key_ == key ? n : nullptr;
  }
  Node* lowerNode(const K& key) const {
    detail::RbLink* found = nullptr;
    for (detail::RbLink* n = core_.root(); n;) {
      if (node(n)->key_ < key) {
        n = n->right_;
      } else {
        found = n;
        n = n->left_;
      }
    }
    return node(found);
  }
  Node* upperNode(const K& key) const {
    detail::RbLink* found = nullptr;
    for (detail::RbLink* n = core_.root(); n;) {
      if (key < node(n)->key_) {
        found = n;
        n = n->left_;
      } else {
        n = n->right_;
      }
    }
    return node(found);
  }
};

}  // namespace Orv
