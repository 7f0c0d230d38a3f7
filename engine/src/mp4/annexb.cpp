#include "mp4/annexb.h"

#include <cstring>

#include "base/bytes.h"

namespace orventa {
namespace {

constexpr size_t kStartCodeBytes = 3;

uint64_t Load64(const uint8_t* at) {
  uint64_t word;
  std::memcpy(&word, at, sizeof(word));
  return word;
}

// The top bit of some byte is set if and only if some byte of the word is zero.
uint64_t ZeroByteMask(uint64_t word) {
  return (word - 0x0101010101010101u) & ~word & 0x8080808080808080u;
}

// Where the next 00 00 01 begins at or after `from`, else the size. Two zeros in
// a row are rare in coded video, so whole blocks without such a pair are stepped
// over by words and only the others are looked at byte by byte.
size_t FindStartCode(std::span<const uint8_t> bytes, size_t from) {
  constexpr size_t kBlock = 64;
  // A clip's packets come cold from memory, and reading them takes most of the time.
  constexpr size_t kPrefetchBytes = 2048;
  const uint8_t* data = bytes.data();
  const size_t size = bytes.size();
  size_t at = from;
  while (at + kStartCodeBytes <= size) {
    while (at + kBlock + 1 <= size) {
      __builtin_prefetch(data + at + kPrefetchBytes);
      uint64_t pairs = 0;
      for (size_t word = 0; word < kBlock; word += sizeof(uint64_t)) {
        pairs |= ZeroByteMask(Load64(data + at + word) | Load64(data + at + word + 1));
      }
      if (pairs != 0) break;
      at += kBlock;
    }
    const size_t stop = at + kBlock < size ? at + kBlock : size;
    for (; at < stop && at + kStartCodeBytes <= size; ++at) {
      if (data[at] == 0 && data[at + 1] == 0 && data[at + 2] == 1) return at;
    }
  }
  return size;
}

bool IsKept(std::span<const uint8_t> unit, Mp4Codec codec) {
  if (codec == Mp4Codec::Hevc) {
    const uint32_t type = HevcUnitType(unit);
    return type < 32 || type > 35;
  }
  const uint32_t type = H264UnitType(unit);
  return type < 7 || type > 9;
}

}  // namespace

AnnexBUnits::AnnexBUnits(std::span<const uint8_t> bytes) : bytes_(bytes) {
  const size_t code = FindStartCode(bytes, 0);
  start_ = code < bytes.size() ? code + kStartCodeBytes : bytes.size();
}

bool AnnexBUnits::Next(std::span<const uint8_t>& unit) {
  while (start_ < bytes_.size()) {
    const size_t first = start_;
    const size_t code = FindStartCode(bytes_, first);
    size_t end = code;
    if (code < bytes_.size()) {
      start_ = code + kStartCodeBytes;
      if (end > first && bytes_[end - 1] == 0) --end;
    } else {
      start_ = bytes_.size();
    }
    if (end == first) continue;
    unit = bytes_.subspan(first, end - first);
    return true;
  }
  return false;
}

bool SampleUnits::Next(std::span<const uint8_t>& unit) {
  while (units_.Next(unit)) {
    if (IsKept(unit, codec_)) return true;
  }
  return false;
}

bool NeedsConversion(const Mp4VideoTrack& track) {
  return !track.length_prefixed && track.codec != Mp4Codec::Av1;
}

SampleLayout MeasureSample(std::span<const uint8_t> packet, Mp4Codec codec) {
  SampleLayout layout;
  SampleUnits units(packet, codec);
  std::span<const uint8_t> unit;
  while (units.Next(unit)) {
    if (layout.units == 0) layout.first_unit = static_cast<size_t>(unit.data() - packet.data());
    ++layout.units;
    layout.size += kUnitLengthBytes + unit.size();
  }
  return layout;
}

void AppendSample(std::span<const uint8_t> packet, Mp4Codec codec, std::vector<uint8_t>& out) {
  ByteWriter writer(out);
  SampleUnits units(packet, codec);
  for (std::span<const uint8_t> unit; units.Next(unit);) {
    writer.U32(static_cast<uint32_t>(unit.size()));
    writer.Bytes(unit);
  }
}

}  // namespace orventa
