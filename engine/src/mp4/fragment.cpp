#include "mp4/fragment.h"

#include "mp4/box_io.h"

namespace orventa {
namespace {

// Data offset, then duration, size and flags of every sample.
constexpr uint32_t kTrunFlags = kDataOffset | kSampleDuration | kSampleSize | kSampleFlags;
// The same with a composition offset after them.
constexpr uint32_t kTrunFlagsWithOffsets = kTrunFlags | kSampleCompositionOffset;
constexpr uint32_t kSyncSample = 0x02000000;   // depends on no other
constexpr uint32_t kOtherSample = 0x01010000;  // depends on others, is no sync sample

constexpr size_t kTagBytes = 4;

// Reads a trun from behind its tag.
bool ReadSamples(ByteReader in, FragmentHead& out) {
  const uint32_t flags = in.U32();
  if (flags != kTrunFlags && flags != kTrunFlagsWithOffsets) return false;
  const size_t entry_bytes = flags == kTrunFlags ? 12 : 16;
  const uint32_t count = in.U32();
  out.data_offset = static_cast<int32_t>(in.U32());
  if (in.failed() || count > in.remaining() / entry_bytes) return false;
  out.samples.resize(count);
  for (FragmentSample& sample : out.samples) {
    sample.duration = in.U32();
    sample.size = in.U32();
    sample.sync = (in.U32() & kNonSyncSample) == 0;
    in.Skip(entry_bytes - 12);
  }
  return true;
}

}  // namespace

void WriteFragmentHead(ByteWriter& out, uint32_t sequence_number, uint32_t track_number,
                       uint64_t decode_time, std::span<const FragmentSample> samples) {
  const size_t start = out.position();
  size_t offset_position = 0;
  uint64_t media_bytes = 0;
  {
    BoxScope moof(out, FourCc("moof"));
    {
      BoxScope mfhd(out, FourCc("mfhd"));
      out.U32(0);
      out.U32(sequence_number);
    }
    BoxScope traf(out, FourCc("traf"));
    {
      BoxScope tfhd(out, FourCc("tfhd"));
      out.U32(kDefaultBaseIsMoof);
      out.U32(track_number);
    }
    {
      BoxScope tfdt(out, FourCc("tfdt"));
      out.U32(0x01000000);  // version 1
      out.U64(decode_time);
    }
    BoxScope trun(out, FourCc("trun"));
    out.U32(kTrunFlags);
    out.U32(static_cast<uint32_t>(samples.size()));
    offset_position = out.position();
    out.U32(0);
    for (const FragmentSample& sample : samples) {
      out.U32(sample.duration);
      out.U32(sample.size);
      out.U32(sample.sync ? kSyncSample : kOtherSample);
      media_bytes += sample.size;
    }
  }
  out.U32(static_cast<uint32_t>(media_bytes + kBoxHeaderBytes));
  out.U32(FourCc("mdat"));
  out.PatchU32(offset_position, static_cast<uint32_t>(out.position() - start));
}

uint64_t FragmentHead::MediaBytes() const {
  uint64_t bytes = 0;
  for (const FragmentSample& sample : samples) bytes += sample.size;
  return bytes;
}

bool ReadFragmentHead(std::span<const uint8_t> moof, FragmentHead& out) {
  out.track_number = 0;
  out.decode_time = 0;
  bool has_track = false;
  // By tags, not by box sizes. The fields behind a tag are stepped over, since a
  // time may happen to spell one.
  for (size_t at = 0; at + kTagBytes <= moof.size();) {
    ByteReader in(moof.subspan(at));
    const uint32_t tag = in.U32();
    if (tag == FourCc("trun")) return has_track && ReadSamples(in, out);
    if (tag == FourCc("tfhd")) {
      in.Skip(4);
      out.track_number = in.U32();
      has_track = !in.failed();
    } else if (tag == FourCc("tfdt")) {
      const bool wide = in.U8() == 1;
      in.Skip(3);
      out.decode_time = wide ? in.U64() : in.U32();
    } else {
      ++at;
      continue;
    }
    at += in.position();
  }
  return false;
}

}  // namespace orventa
