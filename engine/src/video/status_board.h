// The engine's state as others may see it. The engine thread writes, anybody reads
// a copy; the encoder worker only leaves the time of its newest packet.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/mutex.h"
#include "video/replay_engine.h"
#include "video/sound_levels.h"

namespace orventa {

class StatusBoard {
 public:
  template <typename Change>
  void Update(Change change) ORVENTA_EXCLUDES(mutex_) {
    MutexLock lock(mutex_);
    change(record_);
  }

  // A copy; `capturing` says whether a packet came lately.
  EngineSnapshot Read(uint64_t now_ns) const ORVENTA_EXCLUDES(mutex_);

  // Encoder worker.
  void NotePacket(uint64_t pts, uint64_t now_ns) {
    newest_pts_.store(pts, std::memory_order_relaxed);
    newest_packet_at_ns_.store(now_ns, std::memory_order_release);
  }
  // Packets of the pipeline that ended no longer count as capturing.
  void ForgetPackets() { newest_packet_at_ns_.store(kNoPacket, std::memory_order_release); }

  bool IsCapturing(uint64_t now_ns) const;
  uint64_t NewestPts() const { return newest_pts_.load(std::memory_order_relaxed); }
  // Sets how far apart packets are.
  void SetFrameInterval(uint64_t interval_ns) { interval_ns_ = interval_ns; }

  SoundLevels& sound_levels() { return sound_levels_; }
  const SoundLevels& sound_levels() const { return sound_levels_; }

  // What only a running pipeline has.
  void ClearLive();
  void ClearTarget();
  void SetError(const Status& status);

 private:
  static constexpr uint64_t kNoPacket = UINT64_MAX;

  mutable Mutex mutex_;
  EngineSnapshot record_ ORVENTA_GUARDED_BY(mutex_);
  std::atomic<uint64_t> newest_pts_ = 0;
  std::atomic<uint64_t> newest_packet_at_ns_ = kNoPacket;  // steady clock
  std::atomic<uint64_t> interval_ns_ = 0;
  SoundLevels sound_levels_;
};

}  // namespace orventa
