// Fragments of a recording: a `moof` that tells of one track's next samples, and
// the `mdat` with their bytes. Written by Mp4Writer, read back by the repair. Any
// thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "base/bytes.h"

namespace orventa {

// Of a sample's flags.
inline constexpr uint32_t kNonSyncSample = 0x00010000;

// tfhd
enum TfhdFlag : uint32_t {
  kBaseDataOffset = 0x1,
  kSampleDescriptionIndex = 0x2,
  kDefaultSampleDuration = 0x8,
  kDefaultSampleSize = 0x10,
  kDefaultSampleFlags = 0x20,
  kDefaultBaseIsMoof = 0x20000,
};

// trun
enum TrunFlag : uint32_t {
  kDataOffset = 0x1,
  kFirstSampleFlags = 0x4,
  kSampleDuration = 0x100,
  kSampleSize = 0x200,
  kSampleFlags = 0x400,
  kSampleCompositionOffset = 0x800,
};

struct FragmentSample {
  uint32_t size = 0;
  uint32_t duration = 0;  // in the track's timescale
  bool sync = false;
};

// What stands before the bytes of the samples: the `moof` and the header of the
// `mdat`. `decode_time` is the sum of the durations of all earlier samples.
void WriteFragmentHead(ByteWriter& out, uint32_t sequence_number, uint32_t track_number,
                       uint64_t decode_time, std::span<const FragmentSample> samples);

// A `moof` as the repair sees it.
struct FragmentHead {
  uint32_t track_number = 0;
  uint64_t decode_time = 0;
  int64_t data_offset = 0;  // of the first sample from the start of the `moof`
  std::vector<FragmentSample> samples;

  uint64_t MediaBytes() const;
};

// From a whole `moof`, header and all, of any bytes. False when it does not say
// which track it is of, or its samples are not all told inside it. Reuses the
// memory of `out.samples`.
bool ReadFragmentHead(std::span<const uint8_t> moof, FragmentHead& out);

}  // namespace orventa
