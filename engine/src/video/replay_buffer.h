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

#include "media/packet.h"

namespace orventa {

struct ReplayBufferOptions {
  uint32_t seconds = 300;   // time window; 0 counts as 1
  uint64_t max_bytes = 0;   // byte budget; 0: worked out from 50,000 kbps
  bool elastic = false;     // the budget was worked out, not set by the user
  std::string directory;    // payload folder, UTF-8; empty: memory
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
  uint32_t packets_refused = 0;
  bool on_disk = false;
  uint32_t disk_failures = 0;
  uint64_t span_ns = 0;
};

enum class PayloadAccess {
  Now,    // every payload is in memory when the snapshot returns
  Later,  // payloads on disk are read when the packet is loaded
};

class ReplayBuffer : public std::enable_shared_from_this<ReplayBuffer> {
 public:
  static std::shared_ptr<ReplayBuffer> Create(const ReplayBufferOptions& options);
  ~ReplayBuffer();
  ReplayBuffer(const ReplayBuffer&) = delete;
  ReplayBuffer& operator=(const ReplayBuffer&) = delete;

  // Takes a packet; the payload is shared, never copied, by a history in memory.
  void Append(EncodedPacket packet);
  // True when a noticeable part of the history was lost.
  bool Reconfigure(const ReplayBufferOptions& options);
  void Clear();
  // Once `hold_ns` of footage exists after `pts`, everything before `pts` goes.
  void HoldFor(uint64_t pts, uint64_t hold_ns);
  // Whether a trim was waiting; it no longer is.
  bool TakeTrimPending();
  // The newest `seconds`, from a keyframe on and never longer than asked for
  // (unless a single group is). False when empty.
  bool Snapshot(uint32_t seconds, std::vector<BufferedPacket>& out, PayloadAccess access);
  // Packets from the group that covers `from_pts` up to before `to_pts`.
  bool SnapshotRange(uint64_t from_pts, uint64_t to_pts, std::vector<BufferedPacket>& out,
                     PayloadAccess access);
  ReplayBufferStats Stats() const;

 private:
  explicit ReplayBuffer(const ReplayBufferOptions& options);

  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace orventa
