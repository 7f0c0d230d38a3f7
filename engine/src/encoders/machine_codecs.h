// What this machine can encode, codec by codec, for whoever chooses a codec before
// there is a picture. Any thread; finding out may open encoders.
#pragma once

#include <array>

#include "encoders/encoder.h"

namespace orventa {

struct CodecMeans {
  bool encodes = false;
  bool ten_bit = false;  // by a fast encoder, where there is one
  bool fast = false;     // 1920x1080 at 60 pictures a second, beside a game
  bool plays = true;     // players of this system show it
};
using MachineCodecs = std::array<CodecMeans, kCodecCount>;

// Nothing encodes without a device, or when ORVENTA_NO_ENCODER counts as set.
MachineCodecs FindMachineCodecs(const BackendList& backends, GraphicsDevice* device);

}  // namespace orventa
