// Reads a `moov`: which tracks there are, which of them is the video, and their
// samples. Used by the reader. Any thread.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/status.h"
#include "mp4/reader.h"
#include "mp4/sample_table_reader.h"

namespace orventa {

// trex: what a track's fragments leave unsaid.
struct TrackExtends {
  uint32_t track_id = 0;
  uint32_t default_sample_duration = 0;
  uint32_t default_sample_size = 0;
  uint32_t default_sample_flags = 0;
};

struct ReadMoovResult {
  Mp4Contents contents;
  // Fragments are announced: tracks may then have no samples, or only some.
  bool fragmented = false;
  std::vector<TrackExtends> extends;
};

// From the bytes after the box's header. `out` is to be used on success alone.
Status ReadMoov(std::span<const uint8_t> moov, SampleBudget& budget, ReadMoovResult& out);

// Sets the track's rate by its samples.
void FindRate(const Mp4Samples& samples, Mp4VideoTrack& track);

}  // namespace orventa
