// Sound from a device whose clock runs as it likes, given out at one steady rate on
// the steady clock: a line is fitted through the device's timestamps and the sound
// resampled along it, gaps becoming silence of the right length. One thread at a
// time. Allocates nothing once its buffers have grown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/instructions.h"
#include "base/ring.h"
#include "sound/resample.h"

namespace orventa {

// Stereo frames that come at one end and go at the other, always in one piece.
class FrameStore {
 public:
  size_t size() const { return size_; }  // frames
  const float* data() const { return samples_.data() + 2 * first_; }
  // Null: silence.
  void Append(const float* frames, size_t count);
  void DropFront(size_t count);

 private:
  void MakeRoom(size_t count);

  std::vector<float> samples_;
  size_t first_ = 0;
  size_t size_ = 0;
};

// The straight line through the points (frame, time in ns) of a stretch of sound. Sums
// of whole numbers are exact: they stay so for as long as points come and go.
class SoundLine {
 public:
  struct Point {
    int64_t frame = 0;
    int64_t time = 0;
  };
  size_t size() const { return points_.size(); }
  const Point& oldest() const { return points_.front(); }
  void Add(Point point);
  void DropOldest();
  void Clear();

  double MeanFrame() const { return static_cast<double>(frames_) / Count(); }
  double MeanTime() const { return static_cast<double>(times_) / Count(); }
  // Of least squares, ns a frame; no number for fewer than two frames.
  double Slope() const;

 private:
  __extension__ using Wide = __int128;

  double Count() const { return static_cast<double>(points_.size()); }
  void Count(Point point, int sign);

  Ring<Point> points_;
  Wide frames_ = 0;
  Wide times_ = 0;
  Wide squares_ = 0;
  Wide products_ = 0;
};

class SoundClock {
 public:
  // Rates in Hz, neither of them 0.
  SoundClock(uint32_t output_rate, uint32_t input_rate,
             Instructions instructions = BestInstructions());

  // Another device follows: what is held and the fit are dropped. The output goes
  // on where it is.
  void ResetInput(uint32_t input_rate);
  // Output frame 0 lies at `origin_ns`, `frames_delivered` have been given out.
  // Without it the first frame that comes lies at the origin.
  void SetOrigin(uint64_t origin_ns, uint64_t frames_delivered);

  // Interleaved stereo; `time_ns` is when its first frame was played or heard, 0
  // when that is not known.
  void Push(std::span<const float> frames, uint64_t time_ns);
  // Appends all frames earlier than `until_ns`; silence where nothing came.
  void Pull(uint64_t until_ns, std::vector<int16_t>& out);

  uint32_t output_rate() const { return output_rate_; }
  uint32_t input_rate() const { return input_rate_; }
  double slope() const { return slope_; }  // ns a frame of input
  uint64_t frames_inserted() const { return inserted_; }
  uint64_t frames_dropped() const { return dropped_; }

 private:
  double FrameTime(double frame) const { return (frame - mean_frame_) * slope_ + mean_time_; }
  // False: the packet comes too early and leaves the fit alone.
  bool TakeTime(uint64_t time_ns, int64_t& time);
  void Restart(uint64_t time_ns, int64_t& time);
  void Fit(int64_t time);
  void DropHeld();
  void Append(const float* frames, size_t count);
  // The step of the input for one output frame, after the read position was
  // brought to where the line says or near it.
  double Steer();
  void Resample(double step, int16_t* out, size_t count);
  void ResampleOne(ResampleRun& run, int16_t* out);

  const uint32_t output_rate_;
  const Resampler resampler_;
  uint32_t input_rate_;
  ResampleTable table_;

  bool started_ = false;
  uint64_t origin_ns_ = 0;
  uint64_t emitted_ = 0;

  FrameStore held_;
  int64_t first_index_ = 0;  // of the first frame held
  int64_t next_index_ = 0;

  SoundLine line_;  // of times since `time_base_ns_`
  bool fitted_ = false;
  uint64_t time_base_ns_ = 0;
  double mean_frame_ = 0;
  double mean_time_ = 0;
  double nominal_;  // ns a frame
  double slope_;
  uint32_t early_count_ = 0;

  bool read_valid_ = false;
  double read_ = 0;  // frame index
  uint64_t inserted_ = 0;
  uint64_t dropped_ = 0;
};

}  // namespace orventa
