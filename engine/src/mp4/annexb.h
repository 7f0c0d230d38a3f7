// Annex B byte streams (units between start codes), as encoders give them, and
// their length-prefixed form, as MP4 holds them. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "mp4/movie.h"

namespace orventa {

// Walks the units of a byte stream in order. A start code is 00 00 01 with or
// without one more 00 before it. What stands before the first start code belongs
// to no unit; empty units are passed over. The bytes must outlive the walk.
class AnnexBUnits {
 public:
  explicit AnnexBUnits(std::span<const uint8_t> bytes);

  // False at the end.
  bool Next(std::span<const uint8_t>& unit);

 private:
  std::span<const uint8_t> bytes_;
  size_t start_;  // of the next unit; the size of the stream when there is none
};

constexpr uint32_t H264UnitType(std::span<const uint8_t> unit) {
  return unit[0] & 0x1Fu;
}
constexpr uint32_t HevcUnitType(std::span<const uint8_t> unit) {
  return (unit[0] >> 1) & 0x3Fu;
}

// The units of one packet that go into a sample, by themselves: parameter sets
// live in the configuration record, and delimiters serve no purpose in a file.
class SampleUnits {
 public:
  SampleUnits(std::span<const uint8_t> packet, Mp4Codec codec) : units_(packet), codec_(codec) {}

  bool Next(std::span<const uint8_t>& unit);

 private:
  AnnexBUnits units_;
  Mp4Codec codec_;
};

inline constexpr size_t kUnitLengthBytes = 4;

// Whether packets of this track change their form on the way into a file.
bool NeedsConversion(const Mp4VideoTrack& track);

// What a packet in Annex B becomes.
struct SampleLayout {
  uint64_t size = 0;  // bytes with the lengths; 0: nothing of it is kept
  uint32_t units = 0;
  size_t first_unit = 0;  // where the first kept unit begins in the packet
};
SampleLayout MeasureSample(std::span<const uint8_t> packet, Mp4Codec codec);
// Appends that form of it.
void AppendSample(std::span<const uint8_t> packet, Mp4Codec codec, std::vector<uint8_t>& out);

}  // namespace orventa
