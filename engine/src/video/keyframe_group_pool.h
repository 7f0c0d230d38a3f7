// Keyframe groups with a shared life, used again once the last reference is gone: a
// history drops one group for every keyframe that it takes, so that in its steady
// state the old group's memory serves the new one. References may be dropped by any
// thread, a save among them; what the group held is freed by that thread.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <utility>

#include "base/mutex.h"
#include "video/keyframe_group.h"

namespace orventa {

class KeyframeGroupRef {
 public:
  KeyframeGroupRef() = default;
  ~KeyframeGroupRef() { Release(); }
  KeyframeGroupRef(const KeyframeGroupRef& other) noexcept;
  KeyframeGroupRef(KeyframeGroupRef&& other) noexcept
      : group_(std::exchange(other.group_, nullptr)) {}
  KeyframeGroupRef& operator=(KeyframeGroupRef other) noexcept {
    std::swap(group_, other.group_);
    return *this;
  }

  explicit operator bool() const { return group_ != nullptr; }
  const KeyframeGroup& operator*() const;
  const KeyframeGroup* operator->() const { return &**this; }
  // Valid until a snapshot shares the group.
  KeyframeGroup& mutable_group();

 private:
  friend class KeyframeGroupPool;
  friend class DroppedGroups;
  struct Shared;

  explicit KeyframeGroupRef(Shared* group) : group_(group) {}
  void Release() noexcept;

  Shared* group_ = nullptr;
};

// Groups that were taken out under a lock, to be let go of after it: declare it
// before the lock. Takes any number without allocating.
class DroppedGroups {
 public:
  DroppedGroups() = default;
  ~DroppedGroups();
  DroppedGroups(const DroppedGroups&) = delete;
  DroppedGroups& operator=(const DroppedGroups&) = delete;

  // A group can be dropped once in its life, by the history that made it.
  void Add(KeyframeGroupRef group) noexcept;

 private:
  KeyframeGroupRef newest_;
};

// A group keeps its pool alive. The lock is a leaf, and nothing is freed under it.
class KeyframeGroupPool : public std::enable_shared_from_this<KeyframeGroupPool> {
 public:
  // What is kept beyond the groups in use: few and of common size, since a history
  // that shrinks, or a keyframe that was long in coming, must give its memory back.
  static constexpr size_t kMaxKept = 4;
  static constexpr size_t kMaxKeptPackets = 2048;

  static std::shared_ptr<KeyframeGroupPool> Create();
  ~KeyframeGroupPool();
  KeyframeGroupPool(const KeyframeGroupPool&) = delete;
  KeyframeGroupPool& operator=(const KeyframeGroupPool&) = delete;

  // An empty group with room for that many packets, and for few times as many: the
  // history would hold the excess for its whole length. Throws std::bad_alloc.
  KeyframeGroupRef Take(size_t packets);
  size_t kept() const;

 private:
  friend class KeyframeGroupRef;
  using Shared = KeyframeGroupRef::Shared;

  KeyframeGroupPool();
  // An emptied group to which nobody refers.
  void GiveBack(std::unique_ptr<Shared> group) noexcept;

  mutable Mutex mutex_;
  std::array<std::unique_ptr<Shared>, kMaxKept> free_ ORVENTA_GUARDED_BY(mutex_);
  size_t free_count_ ORVENTA_GUARDED_BY(mutex_) = 0;
};

}  // namespace orventa
