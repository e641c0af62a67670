// The key-free half of the hashed collections: the bucket array, its growth
// and walking across buckets.
#include <ipmodel/Orv/HashMap.h>

#include <algorithm>

namespace Orv::detail {

namespace {

// Uninitialised: growth writes every slot.
HashLink** allocateBuckets(std::size_t count) {
  auto** b = static_cast<HashLink**>(::operator new(count * sizeof(HashLink*)));
  HashCore::bucketTrack().allocated(count * sizeof(HashLink*));
  return b;
}

void freeBuckets(HashLink** b, std::size_t count) {
  HashCore::bucketTrack().freed(count * sizeof(HashLink*));
  ::operator delete(b);
}

}  // namespace

AllocTrackTypeInfo& HashCore::bucketTrack() { return allocTrack<HashBuckets>(); }

HashLink* HashCore::firstFrom(std::size_t b) const {
  const std::size_t count = bucketCount();
  for (; b < count; ++b) {
    if (buckets_[b]) return buckets_[b];
  }
  return nullptr;
}

void HashCore::allocateInitial() {
  buckets_ = allocateBuckets(std::size_t(1) << kInitialBucketBits);
  std::fill_n(buckets_, std::size_t(1) << kInitialBucketBits, nullptr);
  shift_ = 32 - kInitialBucketBits;
}

// Doubling adds one bit to the bucket index: bucket i splits into 2i (next
// bit 0) and 2i+1 (next bit 1). The chain is sorted by reversed hash, so the
// members of 2i form a prefix and those of 2i+1 the rest; both stay sorted.
void HashCore::grow() {
  ORV_ASSERT(shift_ > 1);
  const std::size_t oldCount = bucketCount();
  const unsigned newShift = shift_ - 1u;
  HashLink** grown = allocateBuckets(oldCount * 2);
  for (std::size_t i = 0; i < oldCount; ++i) {
    HashLink* head = buckets_[i];
    HashLink** cut = &head;
    while (*cut && ((*cut)->orvHashRev_ >> newShift & 1u) == 0) cut = &(*cut)->orvHashNext_;
    grown[2 * i + 1] = *cut;
    *cut = nullptr;
    grown[2 * i] = head;
  }
  freeBuckets(buckets_, oldCount);
  buckets_ = grown;
  shift_ = static_cast<std::uint8_t>(newShift);
}

void HashCore::clearWith(void (*drop)(HashLink*)) {
  if (!hasBuckets()) return;
  // Chain all members into one list before anything is dropped.
  HashLink* list = nullptr;
  HashLink** tail = &list;
  const std::size_t count = bucketCount();
  for (std::size_t i = 0; i < count; ++i) {
    if (HashLink* head = buckets_[i]) {
      *tail = head;
      while (*tail) tail = &(*tail)->orvHashNext_;
    }
  }
  freeBuckets(buckets_, count);
  buckets_ = const_cast<HashLink**>(kNoBuckets);
  shift_ = 32;
  version_ += size_;
  size_ = 0;
  while (list) {
    HashLink* n = list;
    list = n->orvHashNext_;
    n->orvHashNext_ = nullptr;
    drop(n);
  }
}

void HashCore::takeFrom(HashCore& o) {
  ORV_ASSERT(!hasBuckets());
  buckets_ = std::exchange(o.buckets_, const_cast<HashLink**>(kNoBuckets));
  shift_ = std::exchange(o.shift_, std::uint8_t{32});
  size_ = std::exchange(o.size_, 0);
  version_ += size_ + 1;
  o.version_ += size_ + 1;
}

void HashCore::checkShape() const {
  ORV_ASSERT(hasBuckets() || (size_ == 0 && buckets_[0] == nullptr));
  std::size_t count = 0;
  for (std::size_t b = 0; b < bucketCount(); ++b) {
    for (const HashLink* n = buckets_[b]; n; n = n->orvHashNext_) {
      ORV_ASSERT(bucketIndex(n->orvHashRev_) == b);
      ++count;
    }
  }
  ORV_ASSERT(count == size_);
  ORV_ASSERT(size_ <= bucketCount());
}

}  // namespace Orv::detail
