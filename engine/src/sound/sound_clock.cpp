#include "sound/sound_clock.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "base/clock.h"
#include "sound/capture.h"

namespace orventa {
namespace {

constexpr double kSecond = 1e9;
// A packet so late leaves a gap to fill; one later than a second begins anew.
constexpr double kLateNs = 20e6;
constexpr double kLongGapNs = kSecond;
// So many packets in a row that come so early are the new truth.
constexpr double kEarlyNs = -20e6;
constexpr uint32_t kEarlyPackets = 50;

constexpr int64_t kFitSpanNs = 8 * static_cast<int64_t>(kNsPerSecond);
constexpr int64_t kSlopeSpanNs = 2 * static_cast<int64_t>(kNsPerSecond);
constexpr size_t kSlopePoints = 3;
constexpr double kSlopeLimit = 2000e-6;  // of the nominal one; no clock is worse

constexpr double kJumpNs = 5e6;
constexpr double kSlewLimit = 0.001;

constexpr uint32_t kHeldSeconds = 10;
// Kept behind the read position, for a line that moves back a little.
constexpr int64_t kKeptBehind = 16 + 256;

constexpr size_t kLeastRoom = 24 * 1024;  // frames

}  // namespace

void FrameStore::Append(const float* frames, size_t count) {
  if (2 * (first_ + size_ + count) > samples_.size()) MakeRoom(count);
  float* const end = samples_.data() + 2 * (first_ + size_);
  if (frames != nullptr) {
    std::memcpy(end, frames, 2 * count * sizeof(float));
  } else {
    std::fill_n(end, 2 * count, 0.0F);
  }
  size_ += count;
}

void FrameStore::DropFront(size_t count) {
  first_ += count;
  size_ -= count;
  if (size_ == 0) first_ = 0;
}

// At least twice what is needed, so that moving it to the front is rare; a store
// that once held very much gives it back.
void FrameStore::MakeRoom(size_t count) {
  const size_t wanted = std::max(2 * (size_ + count), kLeastRoom);
  const size_t room = samples_.size() / 2;
  if (room >= wanted && room <= 8 * wanted) {
    std::memmove(samples_.data(), data(), 2 * size_ * sizeof(float));
  } else {
    std::vector<float> samples(2 * wanted);
    if (size_ > 0) std::memcpy(samples.data(), data(), 2 * size_ * sizeof(float));
    samples_.swap(samples);
  }
  first_ = 0;
}

void SoundLine::Add(Point point) {
  points_.push_back(point);
  Count(point, 1);
}

void SoundLine::DropOldest() {
  Count(points_.take_front(), -1);
}

void SoundLine::Clear() {
  while (points_.size() > 0) (void)points_.take_front();
  frames_ = times_ = squares_ = products_ = 0;
}

void SoundLine::Count(Point point, int sign) {
  frames_ += sign * point.frame;
  times_ += sign * point.time;
  squares_ += sign * Wide{point.frame} * point.frame;
  products_ += sign * Wide{point.frame} * point.time;
}

double SoundLine::Slope() const {
  const auto count = static_cast<Wide>(points_.size());
  return static_cast<double>(count * products_ - frames_ * times_) /
         static_cast<double>(count * squares_ - frames_ * frames_);
}

SoundClock::SoundClock(uint32_t output_rate, uint32_t input_rate, Instructions instructions)
    : output_rate_(output_rate),
      resampler_(ResamplerFor(instructions)),
      input_rate_(input_rate),
      table_(input_rate, output_rate),
      nominal_(kSecond / input_rate),
      slope_(nominal_) {}

void SoundClock::ResetInput(uint32_t input_rate) {
  if (input_rate != input_rate_) {
    input_rate_ = input_rate;
    table_ = ResampleTable(input_rate, output_rate_);
    nominal_ = kSecond / input_rate;
  }
  DropHeld();
  read_valid_ = false;
}

void SoundClock::SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) {
  started_ = true;
  origin_ns_ = origin_ns;
  emitted_ = frames_delivered;
  read_valid_ = false;
}

void SoundClock::Push(std::span<const float> frames, uint64_t time_ns) {
  const size_t count = frames.size() / 2;
  if (count == 0) return;
  int64_t time = 0;
  if (time_ns != 0 && TakeTime(time_ns, time)) Fit(time);
  Append(frames.data(), count);
}

bool SoundClock::TakeTime(uint64_t time_ns, int64_t& time) {
  if (!fitted_ && held_.size() == 0) time_base_ns_ = time_ns;
  time = static_cast<int64_t>(time_ns - time_base_ns_);
  if (!fitted_) return true;
  const double late = static_cast<double>(time) - FrameTime(static_cast<double>(next_index_));
  if (late < kEarlyNs) {
    if (++early_count_ < kEarlyPackets) return false;
    Restart(time_ns, time);
    return true;
  }
  early_count_ = 0;
  if (late > kLongGapNs) {
    Restart(time_ns, time);
  } else if (late > kLateNs) {
    const auto missing = static_cast<size_t>(std::llround(late / slope_));
    Append(nullptr, missing);
    inserted_ += missing;
  }
  return true;
}

void SoundClock::Restart(uint64_t time_ns, int64_t& time) {
  DropHeld();
  time_base_ns_ = time_ns;
  time = 0;
}

void SoundClock::DropHeld() {
  held_.DropFront(held_.size());
  first_index_ = next_index_;
  line_.Clear();
  fitted_ = false;
  slope_ = nominal_;
  early_count_ = 0;
}

void SoundClock::Fit(int64_t time) {
  line_.Add({next_index_, time});
  while (line_.size() > 2 && time - line_.oldest().time > kFitSpanNs) line_.DropOldest();
  mean_frame_ = line_.MeanFrame();
  mean_time_ = line_.MeanTime();
  slope_ = nominal_;
  fitted_ = true;
  if (line_.size() < kSlopePoints || time - line_.oldest().time < kSlopeSpanNs) return;
  const double slope = line_.Slope();
  if (std::abs(slope / nominal_ - 1) < kSlopeLimit) slope_ = slope;
}

void SoundClock::Append(const float* frames, size_t count) {
  const size_t most = size_t{kHeldSeconds} * input_rate_;
  next_index_ += static_cast<int64_t>(count);
  if (count > most) {
    dropped_ += count - most;
    if (frames != nullptr) frames += 2 * (count - most);
    count = most;
  }
  if (held_.size() + count > most) {
    const size_t excess = held_.size() + count - most;
    dropped_ += excess;
    held_.DropFront(excess);
  }
  held_.Append(frames, count);
  first_index_ = next_index_ - static_cast<int64_t>(held_.size());
}

void SoundClock::Pull(uint64_t until_ns, std::vector<int16_t>& out) {
  if (!started_) {
    if (!fitted_) return;
    const auto first =
        static_cast<int64_t>(std::ceil(FrameTime(static_cast<double>(first_index_))));
    origin_ns_ =
        static_cast<uint64_t>(std::max<int64_t>(static_cast<int64_t>(time_base_ns_) + first, 0));
    started_ = true;
    emitted_ = 0;
  }
  const uint64_t target = FramesBefore(origin_ns_, until_ns, output_rate_);
  if (target <= emitted_) return;
  const auto count = static_cast<size_t>(target - emitted_);
  const size_t end = out.size();
  out.resize(end + 2 * count);  // zeros
  if (fitted_) {
    const double step = Steer();
    Resample(step, out.data() + end, count);
  }
  emitted_ = target;
}

double SoundClock::Steer() {
  const double emitted_time =
      static_cast<double>(emitted_ / output_rate_) * kSecond +
      static_cast<double>(emitted_ % output_rate_) * kSecond / static_cast<double>(output_rate_);
  const double time =
      static_cast<double>(static_cast<int64_t>(origin_ns_ - time_base_ns_)) + emitted_time;
  const double wanted = (time - mean_time_) / slope_ + mean_frame_;
  if (!read_valid_ || std::abs(read_ - wanted) > kJumpNs / slope_) {
    read_ = wanted;
    read_valid_ = true;
  }
  const double step = kSecond / static_cast<double>(output_rate_) / slope_;
  const double slew = (wanted - read_) / static_cast<double>(output_rate_);
  return step + std::clamp(slew, -kSlewLimit * step, kSlewLimit * step);
}

void SoundClock::Resample(double step, int16_t* out, size_t count) {
  ResampleRun run;
  run.rows = table_.rows();
  run.frames = held_.data();
  run.frame_count = held_.size();
  run.position = read_ - static_cast<double>(first_index_);
  run.step = step;
  for (size_t done = 0; done < count;) {
    done += resampler_(run, count - done, out + 2 * done);
    if (done < count) ResampleOne(run, out + 2 * done++);
  }
  read_ = run.position + static_cast<double>(first_index_);
  const int64_t keep_from = static_cast<int64_t>(std::floor(read_)) - kKeptBehind;
  const int64_t first = std::clamp(keep_from, first_index_, next_index_);
  held_.DropFront(static_cast<size_t>(first - first_index_));
  first_index_ = first;
}

// A frame at an end of what is held: what is missing under its taps is silence.
void SoundClock::ResampleOne(ResampleRun& run, int16_t* out) {
  const double whole = std::floor(run.position);
  const int64_t from = static_cast<int64_t>(whole) - int64_t{kTapsBefore};
  const auto held = static_cast<int64_t>(run.frame_count);
  const int64_t begin = std::max<int64_t>(from, 0);
  const int64_t end = std::min(from + int64_t{kResampleTaps}, held);
  if (begin < end) {
    std::array<float, 2 * kResampleTaps> window{};
    std::copy(run.frames + 2 * begin, run.frames + 2 * end, window.begin() + 2 * (begin - from));
    ResampleRun one = run;
    one.frames = window.data();
    one.frame_count = kResampleTaps;
    one.position = run.position - whole + double{kTapsBefore};
    resampler_(one, 1, out);
  }
  run.position += run.step;
}

}  // namespace orventa
