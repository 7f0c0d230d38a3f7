#include "video/audio_replay_buffer.h"

#include <algorithm>
#include <utility>

#include "base/clock.h"
#include "base/rescale.h"

namespace orventa {
namespace {

constexpr uint64_t kDefaultBudgetBytes = 64U << 20U;
constexpr uint32_t kSamplesPerPacket = 1024;

}  // namespace

void AudioReplayBuffer::Configure(uint32_t window_seconds, uint64_t budget_bytes) {
  MutexLock lock(mutex_);
  window_ns_ = std::max(window_seconds, 1U) * kNsPerSecond;
  budget_bytes_ = budget_bytes != 0 ? budget_bytes : kDefaultBudgetBytes;
  Evict();
}

void AudioReplayBuffer::Append(EncodedPacket packet) {
  MutexLock lock(mutex_);
  Push(std::move(packet.data), packet.pts > 0 ? static_cast<uint64_t>(packet.pts) : 0);
  Evict();
}

void AudioReplayBuffer::Clear() {
  MutexLock lock(mutex_);
  ClearLocked();
}

uint64_t AudioReplayBuffer::EndTime() const {
  MutexLock lock(mutex_);
  return EndTimeLocked();
}

uint64_t AudioReplayBuffer::FillGap(uint64_t until_pts, const Payload& silence,
                                    uint32_t sample_rate) {
  MutexLock lock(mutex_);
  if (entries_.empty() || silence.size() == 0 || sample_rate == 0) return 0;
  const uint64_t end = EndTimeLocked();
  const uint64_t frame_ns = Rescale(kSamplesPerPacket, sample_rate, kNsPerSecond);
  if (until_pts <= end + frame_ns / 2) return 0;
  const uint64_t gap = until_pts - end;
  if (gap > window_ns_) {
    ClearLocked();
    return 0;
  }
  const uint64_t samples =
      sample_rate * (gap / kNsPerSecond) + sample_rate * (gap % kNsPerSecond) / kNsPerSecond;
  const uint64_t frames = (samples + kSamplesPerPacket / 2) / kSamplesPerPacket;
  for (uint64_t k = 0; k < frames; ++k) {
    Push(silence, end + Rescale(k * kSamplesPerPacket, sample_rate, kNsPerSecond));
  }
  Evict();
  return frames;
}

bool AudioReplayBuffer::Span(uint64_t from_pts, uint64_t to_pts,
                             std::vector<BufferedPacket>& out) const {
  out.clear();
  MutexLock lock(mutex_);
  auto entry = std::upper_bound(entries_.begin(), entries_.end(), from_pts,
                                [](uint64_t pts, const Entry& e) { return pts < e.pts; });
  if (entry != entries_.begin()) {
    --entry;
    const bool last = std::next(entry) == entries_.end();
    const uint64_t end = last ? EndTimeLocked() : entry->pts + entry->duration_ns;
    if (end <= from_pts) ++entry;
  }
  for (; entry != entries_.end() && entry->pts < to_pts; ++entry) {
    BufferedPacket& copy = out.emplace_back();
    copy.payload = entry->payload;
    copy.pts = entry->pts;
    copy.dts = entry->pts;
    copy.keyframe = true;
  }
  return !out.empty();
}

uint32_t AudioReplayBuffer::PacketsEvicted() const {
  MutexLock lock(mutex_);
  return packets_evicted_;
}

void AudioReplayBuffer::Push(Payload payload, uint64_t pts) {
  const uint64_t size = payload.size();
  const uint64_t previous = entries_.empty() ? pts : entries_.back().pts;
  entries_.push_back({std::move(payload), pts, 0});
  bytes_ += size;
  if (entries_.size() > 1 && pts > previous) entries_.end()[-2].duration_ns = pts - previous;
}

void AudioReplayBuffer::Evict() {
  while (entries_.size() > 1) {
    const uint64_t oldest = entries_.front().pts;
    const uint64_t newest = entries_.back().pts;
    const bool needed = newest < oldest || newest - oldest <= window_ns_;
    if (needed && bytes_ <= budget_bytes_) return;
    bytes_ -= entries_.front().payload.size();
    entries_.pop_front();
    ++packets_evicted_;
  }
}

void AudioReplayBuffer::ClearLocked() {
  entries_.clear();
  bytes_ = 0;
}

uint64_t AudioReplayBuffer::EndTimeLocked() const {
  if (entries_.empty()) return 0;
  const uint64_t length = entries_.size() > 1 ? entries_.end()[-2].duration_ns : 0;
  return entries_.back().pts + length;
}

}  // namespace orventa
