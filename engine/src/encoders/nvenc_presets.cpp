#include "encoders/nvenc_presets.h"

namespace orventa {

std::vector<EncoderPreset> NvencPresets(Codec codec) {
  return {{codec, "p1", "fastest"},
          {codec, "p2", "faster"},
          {codec, "p3", "fast"},
          {codec, "p4", "medium"},
          {codec, "p5", "slow, good quality"},
          {codec, "p6", "slower, better quality"},
          {codec, "p7", "slowest, best quality"}};
}

}  // namespace orventa
