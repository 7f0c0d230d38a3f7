#include "video/keyframe_group_pool.h"

#include <atomic>
#include <vector>

namespace orventa {

struct KeyframeGroupRef::Shared {
  std::atomic<uint32_t> references = 0;
  KeyframeGroup group;
  // None while the group lies in the pool, which would otherwise own itself.
  std::shared_ptr<KeyframeGroupPool> pool;
  KeyframeGroupRef dropped_before;  // the chain of DroppedGroups
};

KeyframeGroupRef::KeyframeGroupRef(const KeyframeGroupRef& other) noexcept : group_(other.group_) {
  if (group_ != nullptr) group_->references.fetch_add(1, std::memory_order_relaxed);
}

const KeyframeGroup& KeyframeGroupRef::operator*() const {
  return group_->group;
}

KeyframeGroup& KeyframeGroupRef::mutable_group() {
  return group_->group;
}

void KeyframeGroupRef::Release() noexcept {
  if (group_ == nullptr) return;
  if (group_->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  std::unique_ptr<Shared> last(group_);
  std::vector<HeldPacket> packets = std::move(last->group.packets);
  for (const HeldPacket& packet : packets) packet.payload.Prefetch();
  packets.clear();
  last->group = KeyframeGroup();
  last->group.packets = std::move(packets);
  const std::shared_ptr<KeyframeGroupPool> pool = std::move(last->pool);
  pool->GiveBack(std::move(last));
}

DroppedGroups::~DroppedGroups() {
  // One by one, since a chain that fell by itself would recurse for its length.
  while (newest_) newest_ = std::exchange(newest_.group_->dropped_before, KeyframeGroupRef());
}

void DroppedGroups::Add(KeyframeGroupRef group) noexcept {
  group.group_->dropped_before = std::move(newest_);
  newest_ = std::move(group);
}

KeyframeGroupPool::KeyframeGroupPool() = default;
KeyframeGroupPool::~KeyframeGroupPool() = default;

std::shared_ptr<KeyframeGroupPool> KeyframeGroupPool::Create() {
  return std::shared_ptr<KeyframeGroupPool>(new KeyframeGroupPool);
}

KeyframeGroupRef KeyframeGroupPool::Take(size_t packets) {
  constexpr size_t kSlackPackets = 16;
  std::unique_ptr<Shared> shared;
  {
    MutexLock lock(mutex_);
    if (free_count_ != 0) shared = std::move(free_[--free_count_]);
  }
  if (shared == nullptr) shared = std::make_unique<Shared>();
  std::vector<HeldPacket>& room = shared->group.packets;
  if (room.capacity() > 2 * packets + kSlackPackets) std::vector<HeldPacket>().swap(room);
  room.reserve(packets);
  shared->pool = shared_from_this();
  shared->references.store(1, std::memory_order_relaxed);
  return KeyframeGroupRef(shared.release());
}

size_t KeyframeGroupPool::kept() const {
  MutexLock lock(mutex_);
  return free_count_;
}

void KeyframeGroupPool::GiveBack(std::unique_ptr<Shared> group) noexcept {
  if (group->group.packets.capacity() > kMaxKeptPackets) return;
  MutexLock lock(mutex_);
  if (free_count_ < kMaxKept) free_[free_count_++] = std::move(group);
}

}  // namespace orventa
