#include "video/replay_buffer.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "base/clock.h"
#include "video/deferred_payloads.h"

namespace orventa {
namespace {

constexpr uint64_t kMinBudgetBytes = 64U << 20U;
constexpr uint32_t kUnknownBitrateKbps = 50'000;
// A reconfiguration counts as a loss when it cuts a span of at least the first to
// one below the second.
constexpr uint64_t kNoticeableSpanNs = 10 * kNsPerSecond;
constexpr uint64_t kLostSpanNs = 5 * kNsPerSecond;

// Chunks of half a megabyte at most: few enough for the pool's search, small enough
// to waste little.
constexpr std::pmr::pool_options kBlockOptions{1024, 512};

uint64_t Timeline(int64_t time_ns) {
  return time_ns > 0 ? static_cast<uint64_t>(time_ns) : 0;
}

}  // namespace

uint64_t ReplayBudgetBytes(uint32_t seconds, uint32_t bitrate_kbps) {
  constexpr double kHeadroom = 1.6;
  const double bytes = seconds * 1000.0 * bitrate_kbps * 0.125 * kHeadroom;
  return std::max(static_cast<uint64_t>(bytes), kMinBudgetBytes);
}

std::shared_ptr<ReplayBuffer> ReplayBuffer::Create(const ReplayBufferOptions& options) {
  return std::shared_ptr<ReplayBuffer>(new ReplayBuffer(options));
}

ReplayBuffer::ReplayBuffer(const ReplayBufferOptions& options) : blocks_(kBlockOptions) {
  MutexLock lock(mutex_);
  Configure(options);
  files_.Open(options.directory, options.file_prefix);
}

void ReplayBuffer::Configure(const ReplayBufferOptions& options) {
  const uint32_t seconds = std::max(options.seconds, 1U);
  options_ = options;
  window_ns_ = seconds * kNsPerSecond;
  budget_bytes_ =
      options.max_bytes != 0 ? options.max_bytes : ReplayBudgetBytes(seconds, kUnknownBitrateKbps);
}

void ReplayBuffer::Append(EncodedPacket packet) {
  MutexLock lock(mutex_);
  if (packet.keyframe) {
    wait_for_keyframe_ = false;
  } else if (groups_.empty() || wait_for_keyframe_) {
    ++packets_refused_;
    return;
  }
  HeldPacket held{std::move(packet.data), Timeline(packet.pts), Timeline(packet.dts), 0, 0};
  held.size = held.payload.size();
  const uint64_t pts = held.pts;
  const uint64_t size = held.size;
  uint64_t segment = 0;
  if (files_.IsOpen() && !WriteOut(held, packet.keyframe, segment)) return;
  if (packet.keyframe) {
    groups_.push_back({pts, pts, 0, segment, 0});
    if (files_.IsOpen()) files_.AddGroup();
  }
  packets_.push_back(std::move(held));
  KeyframeGroup& group = groups_.back();
  ++group.packets;
  group.end_pts = std::max(group.end_pts, pts);
  group.bytes += size;
  total_bytes_ += size;
  Evict();
}

bool ReplayBuffer::WriteOut(HeldPacket& packet, bool keyframe, uint64_t& segment) {
  PayloadPlace place;
  if (!files_.Write(packet.payload.bytes(), keyframe, place)) {
    ++disk_failures_;
    // A group with a hole cannot be decoded past it, and its picture would freeze.
    if (!keyframe) DropNewestGroup();
    wait_for_keyframe_ = true;
    return false;
  }
  packet.payload = Payload();
  packet.offset = place.offset;
  segment = place.segment;
  return true;
}

void ReplayBuffer::Evict() {
  if (groups_.empty()) return;
  const uint64_t newest = groups_.back().end_pts;
  if (temp_budget_bytes_ != 0 && newest >= temp_budget_until_pts_) temp_budget_bytes_ = 0;
  const uint64_t budget = std::max(budget_bytes_, temp_budget_bytes_);
  while (groups_.size() > 1) {
    const uint64_t second = groups_[1].start_pts;
    const bool needed = newest < second || newest - second < window_ns_;
    if (needed && total_bytes_ <= budget) break;
    DropOldestGroup();
  }
  if (trim_pending_) TrimHeld();
}

void ReplayBuffer::TrimHeld() {
  if (groups_.size() > 1) {
    if (groups_.back().start_pts < trim_from_pts_ + trim_hold_ns_) return;
    while (groups_.size() > 1 && groups_.front().start_pts < trim_from_pts_) DropOldestGroup();
  }
  trim_pending_ = false;
}

void ReplayBuffer::DropOldestGroup() {
  const KeyframeGroup& group = groups_.front();
  packets_.erase(packets_.begin(), packets_.begin() + static_cast<ptrdiff_t>(group.packets));
  total_bytes_ -= group.bytes;
  if (files_.IsOpen()) files_.ReleaseGroup(group.segment);
  groups_.pop_front();
  ++groups_evicted_;
}

void ReplayBuffer::DropNewestGroup() {
  const KeyframeGroup& group = groups_.back();
  packets_.erase(packets_.end() - static_cast<ptrdiff_t>(group.packets), packets_.end());
  total_bytes_ -= group.bytes;
  if (files_.IsOpen()) files_.ReleaseGroup(group.segment);
  groups_.pop_back();
}

void ReplayBuffer::DropAll() {
  groups_.clear();
  packets_.clear();
  total_bytes_ = 0;
  temp_budget_bytes_ = 0;
  wait_for_keyframe_ = false;
  trim_pending_ = false;
}

bool ReplayBuffer::Reconfigure(const ReplayBufferOptions& options) {
  MutexLock lock(mutex_);
  const uint64_t span_before = SpanLocked();
  const bool moved =
      options.directory != options_.directory || options.file_prefix != options_.file_prefix;
  const bool threw_away = moved && !groups_.empty();
  if (moved) DropAll();
  // A folder that could not be made is tried again while nothing would be lost.
  const bool retry = groups_.empty() && !options.directory.empty() && !files_.IsOpen();
  if (moved || retry) files_.Open(options.directory, options.file_prefix);

  const uint64_t old_budget = budget_bytes_;
  Configure(options);
  if (!options.elastic) {
    temp_budget_bytes_ = 0;
  } else if (!groups_.empty() && budget_bytes_ < old_budget && budget_bytes_ < total_bytes_) {
    temp_budget_bytes_ = std::max(temp_budget_bytes_, std::min(old_budget, total_bytes_));
    temp_budget_until_pts_ = groups_.back().end_pts + window_ns_;
  }
  Evict();
  const bool cut = span_before >= kNoticeableSpanNs && SpanLocked() < kLostSpanNs;
  return threw_away || cut;
}

void ReplayBuffer::Clear() {
  MutexLock lock(mutex_);
  DropAll();
  files_.Clear();
}

void ReplayBuffer::HoldFor(uint64_t pts, uint64_t hold_ns) {
  MutexLock lock(mutex_);
  trim_from_pts_ = pts;
  trim_hold_ns_ = hold_ns;
  if (groups_.empty()) return;
  trim_pending_ = true;
  wait_for_keyframe_ = true;
}

bool ReplayBuffer::TakeTrimPending() {
  MutexLock lock(mutex_);
  return std::exchange(trim_pending_, false);
}

bool ReplayBuffer::Snapshot(uint32_t seconds, std::vector<BufferedPacket>& out,
                            PayloadAccess access) {
  out.clear();
  std::shared_ptr<DeferredPayloads> deferred;
  {
    MutexLock lock(mutex_);
    Range range;
    if (!FindNewest(seconds, range)) return false;
    CopyOut(range, out, deferred);
  }
  return Finish(out, std::move(deferred), access);
}

bool ReplayBuffer::SnapshotRange(uint64_t from_pts, uint64_t to_pts,
                                 std::vector<BufferedPacket>& out, PayloadAccess access) {
  out.clear();
  std::shared_ptr<DeferredPayloads> deferred;
  {
    MutexLock lock(mutex_);
    Range range;
    if (!FindRange(from_pts, to_pts, range)) return false;
    CopyOut(range, out, deferred);
  }
  return Finish(out, std::move(deferred), access);
}

bool ReplayBuffer::FindNewest(uint32_t seconds, Range& range) const {
  if (groups_.empty()) return false;
  const uint64_t newest = groups_.back().end_pts;
  const uint64_t length = seconds * kNsPerSecond;
  const uint64_t cutoff = newest > length ? newest - length : 0;
  while (range.group + 1 < groups_.size() && groups_[range.group].start_pts < cutoff) {
    range.first += groups_[range.group++].packets;
  }
  range.to_pts = std::numeric_limits<uint64_t>::max();
  return true;
}

bool ReplayBuffer::FindRange(uint64_t from_pts, uint64_t to_pts, Range& range) const {
  if (groups_.empty() || to_pts <= from_pts) return false;
  while (range.group + 1 < groups_.size() && groups_[range.group + 1].start_pts <= from_pts) {
    range.first += groups_[range.group++].packets;
  }
  if (groups_[range.group].end_pts < from_pts) range.first += groups_[range.group++].packets;
  range.to_pts = to_pts;
  return range.group < groups_.size() && groups_[range.group].start_pts < to_pts;
}

void ReplayBuffer::CopyOut(const Range& range, std::vector<BufferedPacket>& out,
                           std::shared_ptr<DeferredPayloads>& deferred) {
  out.reserve(packets_.size() - range.first);
  if (files_.IsOpen()) {
    deferred =
        std::make_shared<DeferredPayloads>(shared_from_this(), files_.folder(), files_.prefix());
    files_.OpenSnapshot();
    deferred->Reserve(packets_.size() - range.first);
  }
  auto packet = packets_.begin() + static_cast<ptrdiff_t>(range.first);
  for (size_t g = range.group; g < groups_.size(); ++g) {
    const KeyframeGroup& group = groups_[g];
    if (group.start_pts >= range.to_pts) break;
    for (size_t i = 0; i < group.packets; ++i, ++packet) {
      if (packet->pts >= range.to_pts) continue;
      BufferedPacket& copy = out.emplace_back();
      copy.pts = packet->pts;
      copy.dts = packet->dts;
      copy.keyframe = i == 0;
      if (deferred == nullptr) {
        copy.payload = packet->payload;
      } else {
        copy.deferred_index = deferred->Add({group.segment, packet->offset, packet->size});
      }
    }
  }
}

bool ReplayBuffer::Finish(std::vector<BufferedPacket>& out,
                          std::shared_ptr<DeferredPayloads> deferred, PayloadAccess access) {
  if (deferred == nullptr) return !out.empty();
  for (size_t i = 0; i < out.size(); ++i) {
    if (access == PayloadAccess::Later) {
      out[i].deferred = deferred;
      continue;
    }
    out[i].payload = deferred->Read(out[i].deferred_index);
    if (!out[i].payload) out.resize(i);
  }
  return !out.empty();
}

ReplayBufferStats ReplayBuffer::Stats() const {
  MutexLock lock(mutex_);
  ReplayBufferStats stats;
  stats.bytes = total_bytes_;
  stats.packets = static_cast<uint32_t>(packets_.size());
  stats.groups = static_cast<uint32_t>(groups_.size());
  stats.groups_evicted = groups_evicted_;
  stats.packets_refused = packets_refused_;
  stats.on_disk = files_.IsOpen();
  stats.disk_failures = disk_failures_;
  stats.span_ns = SpanLocked();
  return stats;
}

void ReplayBuffer::ReleaseSnapshot(uint32_t failed_reads) {
  MutexLock lock(mutex_);
  disk_failures_ += failed_reads;
  files_.CloseSnapshot();
}

uint64_t ReplayBuffer::SpanLocked() const {
  if (groups_.empty()) return 0;
  const uint64_t start = groups_.front().start_pts;
  const uint64_t end = groups_.back().end_pts;
  return end > start ? end - start : 0;
}

}  // namespace orventa
