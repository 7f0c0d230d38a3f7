// The recovery block: what a recording in progress keeps in its own file, so that
// a repair can finish it. The last whole one in the file counts. Written by
// Mp4Writer, read by the repair. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/status.h"
#include "mp4/boxes.h"
#include "mp4/movie.h"
#include "mp4/track_table.h"

namespace orventa {

struct RecoveryBlock {
  Mp4VideoTrack video;  // without content light levels: they are not known yet
  uint32_t video_timescale = kMovieTimescale;
  std::vector<Mp4AudioTrack> sound;
  std::optional<Mp4WebcamTrack> webcam;
  uint32_t webcam_timescale = kMovieTimescale;
  // Per sound track, when its first packet came after the first of the video, in
  // nanoseconds; none: not known yet. As long as `sound`, or empty.
  std::vector<std::optional<int64_t>> sound_starts;
};

// The whole box, in the oldest version that can say what the block says.
void WriteRecoveryBlock(ByteWriter& out, const RecoveryBlock& block);

// From the bytes behind the box's type, of any version and any bytes.
Status ReadRecoveryBlock(std::span<const uint8_t> body, RecoveryBlock& block);

}  // namespace orventa
