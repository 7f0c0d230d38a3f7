// Reads a `udta` box: the way back from user_data.h, for what others left there, too.
// Nothing in it makes a file fail: what cannot be read is left out. Used by the
// reader. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "mp4/movie.h"

namespace orventa {

// What `udta` says of the webcam.
struct WebcamMention {
  uint32_t track_id = 0;
  WebcamPlacement placement;
};

// Fills markers, events, presses and captions.
void ReadUserData(std::span<const uint8_t> udta, Mp4Movie& movie,
                  std::optional<WebcamMention>& webcam);

}  // namespace orventa
