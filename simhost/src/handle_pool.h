// Storage of host handles: host strings, and one pool per class of host object.
//
// Handles live in blocks that stay allocated as long as the host, so the host can tell whether
// any pointer the plug-in hands it is one of its handles without touching memory it has freed:
// the pointer must be the start of a slot of one of the blocks, and the slot must carry the live
// mark. A released slot waits behind the last `quarantine` released slots of its pool before it
// is handed out again, so a late use of a released handle is still recognised as such.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace simhost {

// The address ranges of the blocks of one or more pools (all host objects share one index).
class BlockIndex {
 public:
  // slotSize is a power of two, and begin a multiple of it.
  void Add(const void* begin, size_t slots, size_t slotSize) {
    Range range{reinterpret_cast<uintptr_t>(begin), slots * slotSize, slotSize - 1};
    auto at = std::upper_bound(ranges_.begin(), ranges_.end(), range.begin,
                               [](uintptr_t a, const Range& r) { return a < r.begin; });
    ranges_.insert(at, range);
  }

  // Whether p is the start of a slot of one of the blocks.
  [[gnu::always_inline]] bool IsSlot(const void* p) const {
    auto address = reinterpret_cast<uintptr_t>(p);
    // The two blocks hit last answer most questions (a run and its StyledText, say).
    for (const Range& r : recent_) {
      if (address - r.begin < r.bytes) return (address & r.slotMask) == 0;
    }
    return Find(p);
  }

 private:
  bool Find(const void* p) const {
    auto address = reinterpret_cast<uintptr_t>(p);
    // The last block that begins at or before p.
    auto it = std::upper_bound(ranges_.begin(), ranges_.end(), address,
                               [](uintptr_t a, const Range& r) { return a < r.begin; });
    if (it == ranges_.begin()) return false;
    const Range& range = *(it - 1);
    if (address - range.begin >= range.bytes) return false;
    recent_[1] = recent_[0];
    recent_[0] = range;
    return (address & range.slotMask) == 0;
  }

  struct Range {
    uintptr_t begin;
    uintptr_t bytes;
    uintptr_t slotMask;
  };
  std::vector<Range> ranges_;  // by address
  mutable Range recent_[2] = {{0, 0, 0}, {0, 0, 0}};
};

// T has the members `magic` and `refs`; a default-constructed T has neither mark.
template <typename T>
class HandlePool {
 public:
  HandlePool(BlockIndex* index, size_t quarantine) : index_(index), quarantine_(quarantine) {}
  HandlePool(const HandlePool&) = delete;
  HandlePool& operator=(const HandlePool&) = delete;

  // A slot for a new handle with one reference; its payload is as Release left it (or new).
  [[gnu::always_inline]] T* Allocate(uint32_t liveMagic) {
    T* slot;
    if (waiting_ > quarantine_) {
      slot = released_[oldest_];
      oldest_ = (oldest_ + 1) & (released_.size() - 1);
      --waiting_;
    } else {
      slot = Fresh();
    }
    slot->magic = liveMagic;
    slot->refs = 1;
    ++live_;
    return slot;
  }

  // Takes back a slot whose handle has been marked dead and whose payload has been emptied.
  [[gnu::always_inline]] void Release(T* slot) {
    --live_;
    if (waiting_ == released_.size()) Grow();
    released_[(oldest_ + waiting_) & (released_.size() - 1)] = slot;
    ++waiting_;
  }

  size_t live() const { return live_; }

 private:
  static constexpr size_t kBlockSlots = 256;
  static constexpr size_t PowerOfTwoAtLeast(size_t n) {
    size_t p = 1;
    while (p < n) p *= 2;
    return p;
  }
  // Slots are a power of two apart so that telling a slot's start needs no division.
  struct alignas(PowerOfTwoAtLeast(sizeof(T))) Slot {
    T value;
  };

  // A slot never handed out before.
  [[gnu::noinline]] T* Fresh() {
    if (blocks_.empty() || unused_ == kBlockSlots) {
      blocks_.push_back(std::make_unique<Slot[]>(kBlockSlots));
      index_->Add(blocks_.back().get(), kBlockSlots, sizeof(Slot));
      unused_ = 0;
    }
    return &blocks_.back()[unused_++].value;
  }

  // The ring of released slots doubles when full, keeping their order.
  [[gnu::noinline]] void Grow() {
    std::vector<T*> bigger(released_.empty() ? 64 : released_.size() * 2);
    for (size_t i = 0; i < waiting_; ++i)
      bigger[i] = released_[(oldest_ + i) & (released_.size() - 1)];
    released_.swap(bigger);
    oldest_ = 0;
  }

  BlockIndex* index_;
  size_t quarantine_;
  std::vector<std::unique_ptr<Slot[]>> blocks_;
  size_t unused_ = 0;         // slots of the last block not handed out yet
  std::vector<T*> released_;  // a ring, oldest first from oldest_
  size_t oldest_ = 0;
  size_t waiting_ = 0;
  size_t live_ = 0;
};

}  // namespace simhost
