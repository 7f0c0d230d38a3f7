// The `udta` box: chapters for players, and what only our own programs read.
// Used by BuildMoov. Any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "base/bytes.h"
#include "mp4/movie.h"

namespace orventa {

struct UserData {
  std::span<const Mp4Marker> markers;
  std::span<const Mp4GameEvent> events;
  uint64_t clip_start_ns = 0;                  // marks are told from here
  uint64_t clip_end_ns = 0;                    // those after it are left out
  const WebcamPlacement* placement = nullptr;  // null: no webcam track
  uint32_t webcam_track_id = 0;
  const Mp4Presses* presses = nullptr;  // null: none
  std::string_view captions;
};

// Writes nothing when there is nothing to say.
void WriteUserData(ByteWriter& out, const UserData& data);

}  // namespace orventa
