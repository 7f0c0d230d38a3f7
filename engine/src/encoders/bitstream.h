// The little that is changed in what encoders give out, so that it suits MP4:
// headers reduced to parameter sets or to one sequence header OBU, and AV1
// packets without temporal delimiters. Pure functions, any thread.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "encoders/encoder.h"
#include "media/payload.h"

namespace orventa {

// The SPS and PPS (and VPS) of an Annex B header, with four-byte start codes; or
// the one sequence header OBU of an AV1 header. Empty when there is none.
std::vector<uint8_t> SequenceHeader(Codec codec, std::span<const uint8_t> extradata);

// One access unit as it is kept. AV1: the temporal unit without its temporal
// delimiters, or all of it when it does not parse.
Payload PacketPayload(Codec codec, std::span<const uint8_t> packet);

}  // namespace orventa
