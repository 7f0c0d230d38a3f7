// Decodes what an encoder gave, as a player would: header first, then packets.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "encoders/encoder.h"

namespace orventa {

struct DecodedFrame {
  std::string format;        // libavutil's word, as "yuv420p"
  std::string colour;        // primaries, transfer, matrix, range
  double max_luminance = 0;  // nits, of the mastering display; 0: none told
  unsigned max_cll = 0;
  std::vector<int> luma;  // sample by sample
  int chroma[2] = {};     // the first sample of each plane
};

// Every frame of the packets. An error of the decoder makes a test failure.
std::vector<DecodedFrame> Decode(Codec codec, const std::vector<uint8_t>& header,
                                 std::span<const EncodedPacket> packets);

}  // namespace orventa
