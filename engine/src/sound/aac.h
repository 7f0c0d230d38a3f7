// AAC-LC from 16-bit samples, in packets of 1024 frames. An encoder belongs to one
// thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/status.h"
#include "sound/capture.h"

namespace orventa {

inline constexpr uint32_t kAacFrames = 1024;

struct AacSettings {
  uint32_t sample_rate = 48000;   // 44100 or 48000
  uint32_t channels = 2;          // 1 or 2
  uint32_t bitrate_bps = 160000;  // rounded to one that every encoder takes

  bool operator==(const AacSettings&) const = default;
};

struct AacPacket {
  std::vector<uint8_t> bytes;
  uint64_t pts = 0;  // ns: the time of the first frame that a decoder gives for it
  uint32_t frames = kAacFrames;
};

class IAacEncoder {
 public:
  virtual ~IAacEncoder() = default;

  // `pts` in ns is the time of the first frame. No samples: nothing happens. After
  // a failure the encoder goes on; the caller knows what was lost.
  virtual Status Encode(std::span<const int16_t> samples, uint64_t pts) = 0;
  // False when there is none. `status` tells of a failure since the last call.
  virtual bool Next(AacPacket& packet, Status& status) = 0;
  // No more samples come; what is inside can still be taken.
  virtual Status Flush() = 0;
  virtual std::span<const uint8_t> Config() const = 0;  // the AudioSpecificConfig
  virtual SoundFormat Format() const = 0;
};

// What every encoder refuses, in the words that all of them use.
Status CheckAacSettings(const AacSettings& settings);
// At most 96000 gives 96000, at least 192000 gives 192000, between them down to a
// multiple of 32000.
uint32_t AacBitrate(uint32_t wanted_bps);

}  // namespace orventa
