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

constexpr size_t kFirstGroupPackets = 60;
constexpr uint64_t kNoEnd = std::numeric_limits<uint64_t>::max();

uint64_t Timeline(int64_t time_ns) {
  return time_ns > 0 ? static_cast<uint64_t>(time_ns) : 0;
}

// The packets before `to_pts`. False when there are none.
bool CopyPackets(const std::shared_ptr<DeferredPayloads>& shared, uint64_t to_pts,
                 PayloadAccess access, std::vector<BufferedPacket>& out) {
  out.clear();
  if (shared == nullptr) return false;
  out.reserve(shared->PacketCount());
  for (size_t g = 0; g < shared->groups().size(); ++g) {
    const std::vector<HeldPacket>& packets = shared->groups()[g]->packets;
    for (size_t i = 0; i < packets.size(); ++i) {
      if (packets[i].pts >= to_pts) continue;
      BufferedPacket copy;
      copy.pts = packets[i].pts;
      copy.dts = packets[i].dts;
      copy.keyframe = i == 0;
      if (access == PayloadAccess::Later) {
        copy.deferred = shared;
        copy.deferred_index = DeferredPayloads::IndexOf(g, i);
      } else {
        copy.payload = shared->Read(DeferredPayloads::IndexOf(g, i));
        if (!copy.payload) return !out.empty();
      }
      out.push_back(std::move(copy));
    }
  }
  return !out.empty();
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

ReplayBuffer::ReplayBuffer(const ReplayBufferOptions& options) {
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
  DroppedGroups dropped;
  MutexLock lock(mutex_);
  if (packet.keyframe) {
    wait_for_keyframe_ = false;
  } else if (groups_.empty() || wait_for_keyframe_) {
    ++packets_refused_;
    return;
  }
  PayloadPlace place;
  place.size = packet.data.size();
  if (files_.IsOpen() && !WriteOut(packet, place, dropped)) return;
  const uint64_t pts = Timeline(packet.pts);
  if (packet.keyframe) OpenGroup(pts, place.segment);
  if (files_.IsOpen()) packet.data = Payload();
  KeyframeGroup& group = groups_.back().mutable_group();
  group.packets.push_back(
      {std::move(packet.data), pts, Timeline(packet.dts), place.offset, place.size});
  group.end_pts = std::max(group.end_pts, pts);
  group.bytes += place.size;
  total_bytes_ += place.size;
  ++packet_count_;
  Evict(dropped);
}

bool ReplayBuffer::WriteOut(const EncodedPacket& packet, PayloadPlace& place,
                            DroppedGroups& dropped) {
  if (files_.Write(packet.data.bytes(), packet.keyframe, place)) return true;
  ++disk_failures_;
  // A group with a hole cannot be decoded past it, and its picture would freeze.
  if (!packet.keyframe) DropNewestGroup(dropped);
  wait_for_keyframe_ = true;
  return false;
}

void ReplayBuffer::OpenGroup(uint64_t start_pts, uint64_t segment) {
  // Groups are mostly about as long as the one before. Room for the keyframe itself
  // must not fail later: a group without one could not be decoded.
  const size_t before = groups_.empty() ? kFirstGroupPackets : groups_.back()->packets.size();
  KeyframeGroupRef group = pool_->Take(before + before / 8 + 1);
  group.mutable_group().start_pts = start_pts;
  group.mutable_group().segment = segment;
  groups_.push_back(std::move(group));
  if (files_.IsOpen()) files_.AddGroup();
}

void ReplayBuffer::Evict(DroppedGroups& dropped) {
  if (groups_.empty()) return;
  const uint64_t newest = groups_.back()->end_pts;
  if (temp_budget_bytes_ != 0 && newest >= temp_budget_until_pts_) temp_budget_bytes_ = 0;
  const uint64_t budget = std::max(budget_bytes_, temp_budget_bytes_);
  while (groups_.size() > 1) {
    const uint64_t second = groups_[1]->start_pts;
    const bool needed = newest < second || newest - second < window_ns_;
    if (needed && total_bytes_ <= budget) break;
    DropOldestGroup(dropped);
  }
  if (trim_pending_) TrimHeld(dropped);
}

void ReplayBuffer::TrimHeld(DroppedGroups& dropped) {
  if (groups_.size() > 1) {
    if (groups_.back()->start_pts < trim_from_pts_ + trim_hold_ns_) return;
    while (groups_.size() > 1 && groups_.front()->start_pts < trim_from_pts_) {
      DropOldestGroup(dropped);
    }
  }
  trim_pending_ = false;
}

void ReplayBuffer::DropOldestGroup(DroppedGroups& dropped) {
  ForgetGroup(*groups_.front());
  dropped.Add(groups_.take_front());
  ++groups_evicted_;
}

void ReplayBuffer::DropNewestGroup(DroppedGroups& dropped) {
  ForgetGroup(*groups_.back());
  dropped.Add(groups_.take_back());
}

void ReplayBuffer::ForgetGroup(const KeyframeGroup& group) {
  total_bytes_ -= group.bytes;
  packet_count_ -= static_cast<uint32_t>(group.packets.size());
  if (files_.IsOpen()) files_.ReleaseGroup(group.segment);
}

void ReplayBuffer::DropAll(DroppedGroups& dropped) {
  while (!groups_.empty()) dropped.Add(groups_.take_front());
  packet_count_ = 0;
  total_bytes_ = 0;
  temp_budget_bytes_ = 0;
  wait_for_keyframe_ = false;
  trim_pending_ = false;
}

bool ReplayBuffer::Reconfigure(const ReplayBufferOptions& options) {
  DroppedGroups dropped;
  MutexLock lock(mutex_);
  const uint64_t span_before = SpanLocked();
  const bool moved =
      options.directory != options_.directory || options.file_prefix != options_.file_prefix;
  const bool threw_away = moved && !groups_.empty();
  if (moved) DropAll(dropped);
  // A folder that could not be made is tried again while nothing would be lost.
  const bool retry = groups_.empty() && !options.directory.empty() && !files_.IsOpen();
  if (moved || retry) files_.Open(options.directory, options.file_prefix);

  const uint64_t old_budget = budget_bytes_;
  Configure(options);
  if (!options.elastic) {
    temp_budget_bytes_ = 0;
  } else if (!groups_.empty() && budget_bytes_ < old_budget && budget_bytes_ < total_bytes_) {
    temp_budget_bytes_ = std::max(temp_budget_bytes_, std::min(old_budget, total_bytes_));
    temp_budget_until_pts_ = groups_.back()->end_pts + window_ns_;
  }
  Evict(dropped);
  const bool cut = span_before >= kNoticeableSpanNs && SpanLocked() < kLostSpanNs;
  return threw_away || cut;
}

void ReplayBuffer::Clear() {
  DroppedGroups dropped;
  MutexLock lock(mutex_);
  DropAll(dropped);
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
  std::shared_ptr<DeferredPayloads> shared;
  {
    MutexLock lock(mutex_);
    if (!groups_.empty()) Share(FindNewest(seconds), kNoEnd, shared);
  }
  return CopyPackets(shared, kNoEnd, access, out);
}

bool ReplayBuffer::SnapshotRange(uint64_t from_pts, uint64_t to_pts,
                                 std::vector<BufferedPacket>& out, PayloadAccess access) {
  std::shared_ptr<DeferredPayloads> shared;
  {
    MutexLock lock(mutex_);
    if (!groups_.empty() && to_pts > from_pts) Share(FindRange(from_pts), to_pts, shared);
  }
  return CopyPackets(shared, to_pts, access, out);
}

size_t ReplayBuffer::FindNewest(uint32_t seconds) const {
  const uint64_t newest = groups_.back()->end_pts;
  const uint64_t length = seconds * kNsPerSecond;
  const uint64_t cutoff = newest > length ? newest - length : 0;
  size_t group = 0;
  while (group + 1 < groups_.size() && groups_[group]->start_pts < cutoff) ++group;
  return group;
}

size_t ReplayBuffer::FindRange(uint64_t from_pts) const {
  size_t group = 0;
  while (group + 1 < groups_.size() && groups_[group + 1]->start_pts <= from_pts) ++group;
  return groups_[group]->end_pts < from_pts ? group + 1 : group;
}

void ReplayBuffer::Share(size_t first, uint64_t to_pts, std::shared_ptr<DeferredPayloads>& shared) {
  size_t end = first;
  while (end < groups_.size() && groups_[end]->start_pts < to_pts) ++end;
  if (end == first) return;
  std::vector<KeyframeGroupRef> groups;
  groups.reserve(end - first);
  for (size_t g = first; g < end; ++g) groups.push_back(groups_[g]);
  // The newest group goes on growing.
  if (end == groups_.size()) {
    const KeyframeGroup& newest = *groups_.back();
    groups.back() = pool_->Take(newest.packets.size());
    groups.back().mutable_group() = newest;
  }
  shared = std::make_shared<DeferredPayloads>(shared_from_this(), files_.folder(), files_.prefix(),
                                              std::move(groups));
  files_.OpenSnapshot();
}

ReplayBufferStats ReplayBuffer::Stats() const {
  MutexLock lock(mutex_);
  ReplayBufferStats stats;
  stats.bytes = total_bytes_;
  stats.packets = packet_count_;
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
  const uint64_t start = groups_.front()->start_pts;
  const uint64_t end = groups_.back()->end_pts;
  return end > start ? end - start : 0;
}

}  // namespace orventa
