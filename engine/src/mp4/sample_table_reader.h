// Expands the tables of an `stbl` into one record a sample, and reads edit lists.
// Used by the reader. Any thread.
#pragma once

#include <cstdint>
#include <span>

#include "base/status.h"
#include "mp4/reader.h"

namespace orventa {

Status RefuseFile(std::string_view why);

// What the samples of a whole movie may take. Every sample is held against the
// file's size, so that a table of a few bytes cannot ask for gigabytes.
class SampleBudget {
 public:
  explicit SampleBudget(uint64_t file_bytes) : file_bytes_(file_bytes), bytes_left_(file_bytes) {}

  // Before room is made for samples. Fails when the file cannot hold so many.
  Status Take(uint64_t samples);
  // Once the sizes of samples that were taken are known.
  Status TakeBytes(std::span<const Mp4Sample> samples);

  uint64_t file_bytes() const { return file_bytes_; }

 private:
  static constexpr uint64_t kMaxSamples = 0x8000000;
  static constexpr uint64_t kLeastBytes = 4;  // a sample

  uint64_t file_bytes_;
  uint64_t bytes_left_;
  uint64_t samples_left_ = kMaxSamples;
};

// Fills `track.samples`. Fine with no samples. `single_description` turns false
// when some samples are not described by the first entry of stsd.
Status ReadSampleTables(std::span<const uint8_t> stbl, SampleBudget& budget, Mp4Samples& track,
                        bool& single_description);

// Fills the edit's fields. What is missing of the list is passed over.
void ReadEditList(std::span<const uint8_t> elst, uint32_t movie_timescale, Mp4Samples& track);

// Sets `reordered` by the samples.
void FindReordering(Mp4Samples& track);

// Longest time that this folder reckons in, over 30 years: sums of a few such do
// not overflow.
inline constexpr uint64_t kMaxSeconds = 1'000'000'000;
// `ticks` in nanoseconds, at most kMaxSeconds.
uint64_t TicksToNs(uint64_t ticks, uint32_t timescale);

}  // namespace orventa
