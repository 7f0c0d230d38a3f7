// The speeds of NVENC, whichever library stands before it. Any thread.
#pragma once

#include <vector>

#include "encoders/encoder.h"

namespace orventa {

inline constexpr char kDefaultNvencPreset[] = "p4";

// "p1" to "p7", fastest first.
std::vector<EncoderPreset> NvencPresets(Codec codec);

}  // namespace orventa
