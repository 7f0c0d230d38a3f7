// What the sample tables of one track say, while its file is being made, and the
// arithmetic of its times. Clips, recordings and repairs fill one table a track
// and hand all of them to BuildMoov. Any thread; one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace orventa {

// The timescale of the movie itself.
inline constexpr uint32_t kMovieTimescale = 90000;

// Rates to go by when a track names none.
inline constexpr uint32_t kDefaultFps = 60;
inline constexpr uint32_t kDefaultWebcamFps = 30;
// Every sound sample is one AAC frame.
inline constexpr uint32_t kAacFrameSamples = 1024;

// Samples in a row that last equally long.
struct DurationRun {
  uint32_t samples = 0;
  uint32_t duration = 0;
};

struct TrackChunk {
  uint32_t samples = 0;
  uint64_t first_sample = 0;  // 0-based
  size_t co64_position = 0;   // of its entry in the moov buffer; set by BuildMoov
  uint64_t offset = 0;        // in the file
};

// A table with no samples makes no track, except for a recording's video.
struct TrackTable {
  uint32_t timescale = kMovieTimescale;
  uint64_t duration = 0;  // sum of all sample durations
  std::vector<uint32_t> sizes;
  // In runs, as the file has them: a steady frame rate of many hours is one.
  std::vector<DurationRun> durations;
  std::vector<uint32_t> sync_samples;  // 1-based; empty: every sample is one
  std::vector<TrackChunk> chunks;

  size_t sample_count() const { return sizes.size(); }
  bool empty() const { return sizes.empty(); }

  void Reserve(size_t samples);
  // `sync` says that the sample goes into the list of sync samples: tracks whose
  // samples are all alike, as sound, leave it off.
  void AddSample(uint32_t size, uint32_t sample_duration, bool sync);
  // Cuts all samples into chunks of about one second; the last may be shorter.
  void CutIntoChunks();
  // Appends a chunk of the `samples` samples last added, at a known place.
  void AddChunk(uint32_t samples, uint64_t offset);
  uint64_t ChunkBytes(const TrackChunk& chunk) const;
  uint64_t MediaBytes() const;
  // Writes every chunk's offset into its co64 entry.
  void PatchOffsets(std::vector<uint8_t>& moov) const;
};

// The smallest multiple of the reduced frame rate's numerator that is at least
// 90000, so that a frame is a whole number of ticks; 90000 when there is no rate
// or that multiple would be out of hand.
uint32_t VideoTimescale(uint32_t fps_num, uint32_t fps_den);

// One frame's length in nanoseconds; a rate without numerator counts as
// `default_fps`.
uint64_t FramePeriodNs(uint32_t fps_num, uint32_t fps_den, uint32_t default_fps);

// Ticks from a to b, both measured from `first` and rounded before the
// difference is taken, so that rounding never adds up. At least 1.
uint32_t DurationBetween(uint64_t first_ns, uint64_t a_ns, uint64_t b_ns, uint32_t timescale);

}  // namespace orventa
