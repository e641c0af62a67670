// The key-free half of Orv::RbTreeMap: red-black linking, rebalancing and
// walking over detail::RbLink. Leaves are null pointers; the root is black.
#include <ipmodel/Orv/RbTreeMap.h>

namespace Orv::detail {

namespace {

bool isRed(const RbLink* n) { return n && n->red_; }

RbLink* leftmost(RbLink* n) {
  while (n->left_) n = n->left_;
  return n;
}

RbLink* rightmost(RbLink* n) {
  while (n->right_) n = n->right_;
  return n;
}

// Black height of the subtree at n; asserts the shape below it.
std::size_t checkSubtree(const RbLink* n, const RbLink* parent, std::size_t& count) {
  if (!n) return 1;
  ++count;
  ORV_ASSERT(n->parent_ == parent);
  if (n->red_) ORV_ASSERT(!isRed(n->left_) && !isRed(n->right_));
  const std::size_t left = checkSubtree(n->left_, n, count);
  const std::size_t right = checkSubtree(n->right_, n, count);
  ORV_ASSERT(left == right);
  return left + (n->red_ ? 0 : 1);
}

}  // namespace

RbLink* RbTreeCore::first() const { return root_ ? leftmost(root_) : nullptr; }

RbLink* RbTreeCore::last() const { return root_ ? rightmost(root_) : nullptr; }

RbLink* RbTreeCore::next(const RbLink* n) {
  if (n->right_) return leftmost(n->right_);
  const RbLink* p = n->parent_;
  while (p && n == p->right_) {
    n = p;
    p = p->parent_;
  }
  return const_cast<RbLink*>(p);
}

RbLink* RbTreeCore::prev(const RbLink* n) {
  if (n->left_) return rightmost(n->left_);
  const RbLink* p = n->parent_;
  while (p && n == p->left_) {
    n = p;
    p = p->parent_;
  }
  return const_cast<RbLink*>(p);
}

void RbTreeCore::rotateLeft(RbLink* x) {
  RbLink* y = x->right_;
  x->right_ = y->left_;
  if (y->left_) y->left_->parent_ = x;
  replaceChild(x, y);
  y->left_ = x;
  x->parent_ = y;
}

void RbTreeCore::rotateRight(RbLink* x) {
  RbLink* y = x->left_;
  x->left_ = y->right_;
  if (y->right_) y->right_->parent_ = x;
  replaceChild(x, y);
  y->right_ = x;
  x->parent_ = y;
}

// Puts v where u hangs from u's parent (or the root).
void RbTreeCore::replaceChild(RbLink* u, RbLink* v) {
  RbLink* p = u->parent_;
  if (!p) {
    root_ = v;
  } else if (u == p->left_) {
    p->left_ = v;
  } else {
    p->right_ = v;
  }
  if (v) v->parent_ = p;
}

void RbTreeCore::link(RbLink* n, RbLink* parent, bool left) {
  n->parent_ = parent;
  n->left_ = n->right_ = nullptr;
  n->red_ = true;
  if (!parent) {
    ORV_ASSERT(root_ == nullptr);
    root_ = n;
  } else if (left) {
    ORV_ASSERT(parent->left_ == nullptr);
    parent->left_ = n;
  } else {
    ORV_ASSERT(parent->right_ == nullptr);
    parent->right_ = n;
  }
  ++size_;
  ++version_;
  insertFixup(n);
}

void RbTreeCore::insertFixup(RbLink* z) {
  while (isRed(z->parent_)) {
    RbLink* p = z->parent_;
    RbLink* g = p->parent_;  // exists: a red node is never the root
    if (p == g->left_) {
      RbLink* uncle = g->right_;
      if (isRed(uncle)) {
        p->red_ = uncle->red_ = false;
        g->red_ = true;
        z = g;
        continue;
      }
      if (z == p->right_) {
        rotateLeft(p);
        z = p;
        p = z->parent_;
      }
      p->red_ = false;
      g->red_ = true;
      rotateRight(g);
    } else {
      RbLink* uncle = g->left_;
      if (isRed(uncle)) {
        p->red_ = uncle->red_ = false;
        g->red_ = true;
        z = g;
        continue;
      }
      if (z == p->left_) {
        rotateRight(p);
        z = p;
        p = z->parent_;
      }
      p->red_ = false;
      g->red_ = true;
      rotateLeft(g);
    }
  }
  root_->red_ = false;
}

void RbTreeCore::unlink(RbLink* z) {
  ORV_ASSERT(size_ > 0);
  RbLink* x;        // the node that moves into the vacated position (may be null)
  RbLink* xParent;  // its parent after the move
  bool removedBlack;
  if (!z->left_ || !z->right_) {
    x = z->left_ ? z->left_ : z->right_;
    xParent = z->parent_;
    removedBlack = !z->red_;
    replaceChild(z, x);
  } else {
    // Two children: z's successor y takes z's place (and colour); y's own
    // position loses a node.
    RbLink* y = leftmost(z->right_);
    removedBlack = !y->red_;
    x = y->right_;
    if (y->parent_ == z) {
      xParent = y;
    } else {
      xParent = y->parent_;
      replaceChild(y, x);
      y->right_ = z->right_;
      y->right_->parent_ = y;
    }
    replaceChild(z, y);
    y->left_ = z->left_;
    y->left_->parent_ = y;
    y->red_ = z->red_;
  }
  if (removedBlack) eraseFixup(x, xParent);
  z->parent_ = z->left_ = z->right_ = nullptr;
  --size_;
  ++version_;
}

void RbTreeCore::eraseFixup(RbLink* x, RbLink* xParent) {
  // x carries an extra black.
  while (x != root_ && !isRed(x)) {
    if (x == xParent->left_) {
      RbLink* w = xParent->right_;  // exists: x's side is a black short
      if (w->red_) {
        w->red_ = false;
        xParent->red_ = true;
        rotateLeft(xParent);
        w = xParent->right_;
      }
      if (!isRed(w->left_) && !isRed(w->right_)) {
        w->red_ = true;
        x = xParent;
        xParent = x->parent_;
        continue;
      }
      if (!isRed(w->right_)) {
        w->left_->red_ = false;
        w->red_ = true;
        rotateRight(w);
        w = xParent->right_;
      }
      w->red_ = xParent->red_;
      xParent->red_ = false;
      w->right_->red_ = false;
      rotateLeft(xParent);
      x = root_;
    } else {
      RbLink* w = xParent->left_;
      if (w->red_) {
        w->red_ = false;
        xParent->red_ = true;
        rotateRight(xParent);
        w = xParent->left_;
      }
      if (!isRed(w->left_) && !isRed(w->right_)) {
        w->red_ = true;
        x = xParent;
        xParent = x->parent_;
        continue;
      }
      if (!isRed(w->left_)) {
        w->right_->red_ = false;
        w->red_ = true;
        rotateLeft(w);
        w = xParent->left_;
      }
      w->red_ = xParent->red_;
      xParent->red_ = false;
      w->left_->red_ = false;
      rotateRight(xParent);
      x = root_;
    }
  }
  if (x) x->red_ = false;
}

void RbTreeCore::clearWith(void (*drop)(RbLink*)) {
  RbLink* n = root_;
  if (!n) return;
  version_ += size_;
  root_ = nullptr;
  size_ = 0;
  // Flatten by right rotations so each node is dropped only after its links
  // have been read; constant extra space.
  while (n) {
    if (RbLink* l = n->left_) {
      n->left_ = l->right_;
      l->right_ = n;
      n = l;
    } else {
      RbLink* r = n->right_;
      n->parent_ = n->right_ = nullptr;
      drop(n);
      n = r;
    }
  }
}

void RbTreeCore::takeFrom(RbTreeCore& o) {
  ORV_ASSERT(root_ == nullptr);
  root_ = std::exchange(o.root_, nullptr);
  size_ = std::exchange(o.size_, 0);
  version_ += size_ + 1;
  o.version_ += size_ + 1;
}

void RbTreeCore::checkShape() const {
  ORV_ASSERT(!isRed(root_));
  std::size_t count = 0;
  checkSubtree(root_, nullptr, count);
  ORV_ASSERT(count == size_);
}

}  // namespace Orv::detail
