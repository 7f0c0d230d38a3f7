// AAC-LC from 16-bit samples, in packets of 1024 frames. An encoder belongs to one
// thread at a time.
//
// An AAC decoder's first packet yields what the encoder put in front of the sound
// (its priming). It is the encoder here that takes it away, and nobody after it: a
// packet's time is that of the sound it yields, and a packet that yields nothing but
// priming is not handed out. So packets go into histories and files by their times
// alone, and no file has to tell of priming. What comes first in a file, at the start
// of a track or in the middle of it, lacks the packet it overlaps with: its 1024 frames
// fade in.
#pragma once

#include <cstdint>
#include <functional>
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

  // `pts` in ns is the time of the first frame. Any number of frames; none: nothing
  // happens. Frames are strung together as they come: when `pts` jumps, that shows
  // in the first packet that begins behind the jump. After a failure the encoder
  // goes on; the caller knows what was lost.
  virtual Status Encode(std::span<const int16_t> samples, uint64_t pts) = 0;
  // False when there is none. `status` tells of a failure since the last call. A
  // packet that is passed in again gives its memory back to the encoder.
  virtual bool Next(AacPacket& packet, Status& status) = 0;
  // No more samples come; what is inside can still be taken. A packet begun is
  // filled up with silence.
  virtual Status Flush() = 0;
  virtual std::span<const uint8_t> Config() const = 0;  // the AudioSpecificConfig
  virtual SoundFormat Format() const = 0;
};

// What every encoder refuses, in the words that all of them use.
Status CheckAacSettings(const AacSettings& settings);
// At most 96000 gives 96000, at least 192000 gives 192000, between them down to a
// multiple of 32000.
uint32_t AacBitrate(uint32_t wanted_bps);

using AacEncoderFactory =
    std::function<Status(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out)>;
// One packet of silence, as an encoder of its own gives it, to fill holes with: it may
// be repeated any number of times, at any time.
Status MakeSilentAacPacket(const AacEncoderFactory& make_encoder, const AacSettings& settings,
                           std::vector<uint8_t>& bytes);

}  // namespace orventa
