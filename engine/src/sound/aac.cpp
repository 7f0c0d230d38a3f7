#include "sound/aac.h"

#include <algorithm>
#include <utility>

namespace orventa {
namespace {

// The second of them overlaps with silence on both sides.
constexpr size_t kSilentFrames = size_t{3} * kAacFrames;
constexpr size_t kSteadyPacket = 1;

}  // namespace

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

Status MakeSilentAacPacket(const AacEncoderFactory& make_encoder, const AacSettings& settings,
                           std::vector<uint8_t>& bytes) {
  bytes.clear();
  std::unique_ptr<IAacEncoder> encoder;
  if (Status status = make_encoder(settings, encoder); !status.ok()) return status;
  const std::vector<int16_t> silence(kSilentFrames * settings.channels);
  if (Status status = encoder->Encode(silence, 0); !status.ok()) return status;
  if (Status status = encoder->Flush(); !status.ok()) return status;
  AacPacket packet;
  Status status;
  for (size_t i = 0; i <= kSteadyPacket; ++i) {
    const bool there = encoder->Next(packet, status);
    if (!status.ok()) return status;
    if (!there) return {StatusCode::DriverError, "the AAC encoder gave no silent packet"};
  }
  bytes = std::move(packet.bytes);
  return Status::Ok();
}

}  // namespace orventa
