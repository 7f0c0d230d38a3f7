// The rolling history of one sound track: AAC packets, always in memory, bounded
// by time and by bytes. Any thread; one mutex inside.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory_resource>
#include <vector>

#include "base/mutex.h"
#include "media/packet.h"

namespace orventa {

class AudioReplayBuffer {
 public:
  AudioReplayBuffer() = default;

  // 0 seconds counts as 1, 0 bytes as 64 MiB.
  void Configure(uint32_t window_seconds, uint64_t budget_bytes);
  void Append(EncodedPacket packet);
  void Clear();
  // Where the last packet ends, ns on the session timeline; 0 when empty. It is
  // taken to be as long as the one before it; alone it has no length.
  uint64_t EndTime() const;
  // Fills the hole up to `until_pts` with copies of one silent packet; returns
  // how many. A hole longer than the window clears the history instead.
  uint64_t FillGap(uint64_t until_pts, const Payload& silence, uint32_t sample_rate);
  // Packets that overlap the time from `from_pts` to before `to_pts`. False when
  // there are none.
  bool Span(uint64_t from_pts, uint64_t to_pts, std::vector<BufferedPacket>& out) const;
  uint32_t PacketsEvicted() const;

 private:
  struct Entry {
    Payload payload;
    uint64_t pts = 0;
    uint64_t duration_ns = 0;  // to the next packet; unknown (0) for the last
  };
  void Push(Payload payload, uint64_t pts) ORVENTA_REQUIRES(mutex_);
  void Evict() ORVENTA_REQUIRES(mutex_);
  void ClearLocked() ORVENTA_REQUIRES(mutex_);
  uint64_t EndTimeLocked() const ORVENTA_REQUIRES(mutex_);

  mutable Mutex mutex_;
  uint64_t window_ns_ ORVENTA_GUARDED_BY(mutex_) = 300'000'000'000;
  uint64_t budget_bytes_ ORVENTA_GUARDED_BY(mutex_) = 64U << 20U;
  // Hands blocks that the queue lets go of at the front out again at the back.
  std::pmr::unsynchronized_pool_resource blocks_ ORVENTA_GUARDED_BY(mutex_);
  std::pmr::deque<Entry> entries_ ORVENTA_GUARDED_BY(mutex_){&blocks_};
  uint64_t bytes_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint32_t packets_evicted_ ORVENTA_GUARDED_BY(mutex_) = 0;
};

}  // namespace orventa
