#include "sound/aac.h"

#include <algorithm>

namespace orventa {

Status CheckAacSettings(const AacSettings& settings) {
  if (settings.channels != 1 && settings.channels != 2) {
    return {StatusCode::InvalidArgument, "AAC encoder supports mono or stereo only"};
  }
  if (settings.sample_rate != 44100 && settings.sample_rate != 48000) {
    return {StatusCode::InvalidArgument, "AAC encoder supports 44100 or 48000 Hz"};
  }
  return Status::Ok();
}

uint32_t AacBitrate(uint32_t wanted_bps) {
  return std::clamp(wanted_bps / 32'000 * 32'000, 96'000U, 192'000U);
}

}  // namespace orventa
