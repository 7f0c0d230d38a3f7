#include "sound/capture_queue.h"

#include <algorithm>
#include <cassert>
#include <optional>
#include <utility>

#include "base/clock.h"

namespace orventa {
namespace {

constexpr uint64_t kLagWindowNs = 5 * kNsPerSecond;
constexpr uint64_t kProcessDelayNs = 24 * kNsPerMs;
// A reader that comes in time never has more than this in its buffers.
constexpr size_t kUsualReadsASecond = 4;

void Clear(SoundBatch& batch) {
  batch.records.clear();
  batch.stereo.clear();
  batch.first_record = 0;
  batch.first_sample = 0;
}

}  // namespace

void CaptureQueue::PushFormat(uint32_t rate) {
  assert(rate != 0);
  SoundRecord record;
  record.rate = rate;
  const MutexLock lock(mutex_);
  queued_.records.push_back(record);
}

void CaptureQueue::PushFrames(const SoundRecord& record, const Downmix& downmix, const void* data) {
  assert(record.rate != 0);
  if (record.frames == 0) return;
  const MutexLock lock(mutex_);
  const size_t end = queued_.stereo.size();
  queued_.stereo.resize(end + size_t{2} * record.frames);  // silence
  if (data != nullptr && (record.flags & kSoundSilent) == 0) {
    downmix.Run(data, record.frames, queued_.stereo.data() + end);
  }
  queued_.records.push_back(record);
  frames_ += record.frames;
  if (frames_ > record.rate) Trim();
}

void CaptureQueue::Trim() {
  std::vector<SoundRecord>& records = queued_.records;
  const uint32_t most = records.back().rate;
  std::optional<SoundRecord> format;
  while (frames_ > most && queued_.first_record + 1 < records.size()) {
    const SoundRecord& oldest = records[queued_.first_record++];
    if (oldest.frames == 0) format = oldest;
    frames_ -= oldest.frames;
    queued_.first_sample += size_t{2} * oldest.frames;
  }
  // What follows is of that format: it stands in the place of the last that went.
  if (format) records[--queued_.first_record] = *format;
  // What was dropped is moved out once it is half of all.
  if (queued_.first_sample * 2 < queued_.stereo.size()) return;
  records.erase(records.begin(), records.begin() + static_cast<ptrdiff_t>(queued_.first_record));
  queued_.stereo.erase(queued_.stereo.begin(),
                       queued_.stereo.begin() + static_cast<ptrdiff_t>(queued_.first_sample));
  queued_.first_record = 0;
  queued_.first_sample = 0;
}

void CaptureQueue::Fail(Status status) {
  const MutexLock lock(mutex_);
  failure_ = std::move(status);
}

Status CaptureQueue::Take(SoundBatch& batch) {
  Clear(batch);
  const MutexLock lock(mutex_);
  if (!failure_.ok()) return std::exchange(failure_, Status::Ok());
  std::swap(batch, queued_);
  frames_ = 0;
  return Status::Ok();
}

QueuedSound::QueuedSound(CaptureQueue& queue, SoundTiming timing, uint32_t output_rate)
    : queue_(queue), timing_(timing), clock_(output_rate, output_rate) {}

void QueuedSound::SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) {
  clock_.SetOrigin(origin_ns, frames_delivered);
}

Status QueuedSound::Read(uint64_t until_ns, std::vector<int16_t>& out) {
  if (Status status = queue_.Take(batch_); !status.ok()) return status;
  std::span<const float> stereo(batch_.stereo);
  stereo = stereo.subspan(batch_.first_sample);
  for (size_t i = batch_.first_record; i < batch_.records.size(); ++i) {
    const SoundRecord& record = batch_.records[i];
    if (record.frames == 0) {
      clock_.ResetInput(record.rate);
      while (!lags_.empty()) lags_.take_front();
      continue;
    }
    const size_t samples = size_t{2} * record.frames;
    clock_.Push(stereo.first(samples), TimeOf(record));
    stereo = stereo.subspan(samples);
  }
  GiveBackRoom();
  clock_.Pull(until_ns, out);
  return Status::Ok();
}

uint64_t QueuedSound::TimeOf(const SoundRecord& record) {
  if (record.device_ns == 0 || (record.flags & kSoundBadTime) != 0) {
    const uint64_t length_ns = record.frames * kNsPerSecond / record.rate;
    return record.arrival_ns - std::min(length_ns, record.arrival_ns);
  }
  switch (timing_) {
    case SoundTiming::Direct: break;
    case SoundTiming::Loopback: return record.device_ns + static_cast<uint64_t>(LeastLag(record));
    case SoundTiming::Process:
      if (record.device_ns > kProcessDelayNs) return record.device_ns - kProcessDelayNs;
      break;
  }
  return record.device_ns;
}

// The least lag of the newest seconds: what delays a packet on its way here comes and
// goes, what the output adds stays.
int64_t QueuedSound::LeastLag(const SoundRecord& record) {
  if ((record.flags & kSoundDiscontinuity) != 0) {
    while (!lags_.empty()) lags_.take_front();
  }
  const Lag lag{record.arrival_ns, static_cast<int64_t>(record.arrival_ns - record.device_ns)};
  while (!lags_.empty() && lags_.back().ns >= lag.ns) lags_.take_back();
  lags_.push_back(lag);
  while (lags_.front().arrival_ns + kLagWindowNs < lag.arrival_ns) lags_.take_front();
  return lags_.front().ns;
}

void QueuedSound::GiveBackRoom() {
  const size_t usual = size_t{2} * clock_.input_rate() / kUsualReadsASecond;
  if (batch_.stereo.capacity() > 2 * usual) batch_ = SoundBatch();
}

}  // namespace orventa
