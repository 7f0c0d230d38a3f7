// Decoder configuration records: what a sample entry must say before the first
// picture can be decoded, made out of the sequence header that the encoder gave.
// Any thread.
#pragma once

#include <cstdint>
#include <vector>

#include "base/status.h"
#include "mp4/movie.h"

namespace orventa {

struct VideoConfiguration {
  uint32_t sample_entry = 0;  // avc1, hvc1, av01
  uint32_t box = 0;           // avcC, hvcC, av1C
  std::vector<uint8_t> record;
};

// Fails when the sequence header lacks what the record needs, or cannot be
// parsed; the message says which. Takes any bytes.
Status BuildConfiguration(const Mp4VideoTrack& track, VideoConfiguration& out);

}  // namespace orventa
