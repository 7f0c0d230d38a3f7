// The rolling history of one picture stream: encoded packets in keyframe groups,
// held in memory or spilled to payload files, bounded by time and by bytes.
// Append comes from the encoder worker, snapshots from save threads, the rest from
// engine and control threads; one mutex inside. Shared ownership: a save in
// progress keeps the history alive.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "base/ring.h"
#include "media/packet.h"
#include "video/keyframe_group_pool.h"
#include "video/payload_files.h"

namespace orventa {

class DeferredPayloads;

struct ReplayBufferOptions {
  uint32_t seconds = 300;  // time window; 0 counts as 1
  uint64_t max_bytes = 0;  // byte budget; 0: worked out from 50,000 kbps
  bool elastic = false;    // the budget was worked out, not set by the user
  std::string directory;   // payload folder, UTF-8; empty: memory
  std::string file_prefix = "orventa-buffer-";

  bool operator==(const ReplayBufferOptions&) const = default;
};

// Bytes that a history of this length needs at this bitrate, with headroom for
// busy scenes; never below 64 MiB.
uint64_t ReplayBudgetBytes(uint32_t seconds, uint32_t bitrate_kbps);

struct ReplayBufferStats {
  uint64_t bytes = 0;
  uint32_t packets = 0;
  uint32_t groups = 0;
  uint32_t groups_evicted = 0;
  uint32_t packets_refused = 0;  // came while a keyframe was awaited
  bool on_disk = false;
  uint32_t disk_failures = 0;  // writes and reads
  uint64_t span_ns = 0;
};

enum class PayloadAccess {
  Now,    // every payload is in memory when the snapshot returns
  Later,  // payloads on disk are read when the packet is loaded
};

class ReplayBuffer : public std::enable_shared_from_this<ReplayBuffer> {
 public:
  // A payload folder that cannot be made leaves the history in memory.
  static std::shared_ptr<ReplayBuffer> Create(const ReplayBufferOptions& options);
  ~ReplayBuffer() = default;
  ReplayBuffer(const ReplayBuffer&) = delete;
  ReplayBuffer& operator=(const ReplayBuffer&) = delete;

  // Takes a packet. A history in memory shares the payload, never copies it; one on
  // disk writes it before this returns.
  void Append(EncodedPacket packet);
  // True when a noticeable part of the history was lost.
  bool Reconfigure(const ReplayBufferOptions& options);
  void Clear();
  // Once `hold_ns` of footage exists after `pts`, everything before `pts` goes. What
  // comes next must begin with a keyframe.
  void HoldFor(uint64_t pts, uint64_t hold_ns);
  // Whether a trim was waiting; it no longer is.
  bool TakeTrimPending();
  // The newest `seconds`, from a keyframe on and never longer than asked for
  // (unless a single group is). False when there is nothing. A payload that cannot
  // be read now ends the snapshot before it.
  bool Snapshot(uint32_t seconds, std::vector<BufferedPacket>& out, PayloadAccess access);
  // Packets from the group that covers `from_pts` up to before `to_pts`.
  bool SnapshotRange(uint64_t from_pts, uint64_t to_pts, std::vector<BufferedPacket>& out,
                     PayloadAccess access);
  ReplayBufferStats Stats() const;
  // For DeferredPayloads: it reads no more.
  void ReleaseSnapshot(uint32_t failed_reads);

 private:
  explicit ReplayBuffer(const ReplayBufferOptions& options);

  void Configure(const ReplayBufferOptions& options) ORVENTA_REQUIRES(mutex_);
  bool WriteOut(const EncodedPacket& packet, PayloadPlace& place, DroppedGroups& dropped)
      ORVENTA_REQUIRES(mutex_);
  void OpenGroup(uint64_t start_pts, uint64_t segment) ORVENTA_REQUIRES(mutex_);
  void Evict(DroppedGroups& dropped) ORVENTA_REQUIRES(mutex_);
  void TrimHeld(DroppedGroups& dropped) ORVENTA_REQUIRES(mutex_);
  void DropOldestGroup(DroppedGroups& dropped) ORVENTA_REQUIRES(mutex_);
  void DropNewestGroup(DroppedGroups& dropped) ORVENTA_REQUIRES(mutex_);
  void ForgetGroup(const KeyframeGroup& group) ORVENTA_REQUIRES(mutex_);
  void DropAll(DroppedGroups& dropped) ORVENTA_REQUIRES(mutex_);
  uint64_t SpanLocked() const ORVENTA_REQUIRES(mutex_);
  size_t FindNewest(uint32_t seconds) const ORVENTA_REQUIRES(mutex_);
  size_t FindRange(uint64_t from_pts) const ORVENTA_REQUIRES(mutex_);
  // The groups from the first on that begin before `to_pts`; none when there are
  // none. The result takes the lock when it goes, so it must outlive it here.
  void Share(size_t first, uint64_t to_pts, std::shared_ptr<DeferredPayloads>& shared)
      ORVENTA_REQUIRES(mutex_);

  mutable Mutex mutex_;
  ReplayBufferOptions options_ ORVENTA_GUARDED_BY(mutex_);
  uint64_t window_ns_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint64_t budget_bytes_ ORVENTA_GUARDED_BY(mutex_) = 0;
  // A larger budget for the time after an elastic one shrank; 0: none.
  uint64_t temp_budget_bytes_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint64_t temp_budget_until_pts_ ORVENTA_GUARDED_BY(mutex_) = 0;
  const std::shared_ptr<KeyframeGroupPool> pool_ = KeyframeGroupPool::Create();
  // All but the newest are immutable, since snapshots share them.
  Ring<KeyframeGroupRef> groups_ ORVENTA_GUARDED_BY(mutex_);
  uint32_t packet_count_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint64_t total_bytes_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint32_t groups_evicted_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint32_t packets_refused_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint32_t disk_failures_ ORVENTA_GUARDED_BY(mutex_) = 0;
  bool wait_for_keyframe_ ORVENTA_GUARDED_BY(mutex_) = false;
  bool trim_pending_ ORVENTA_GUARDED_BY(mutex_) = false;
  uint64_t trim_from_pts_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint64_t trim_hold_ns_ ORVENTA_GUARDED_BY(mutex_) = 0;
  PayloadFiles files_ ORVENTA_GUARDED_BY(mutex_);
};

}  // namespace orventa
