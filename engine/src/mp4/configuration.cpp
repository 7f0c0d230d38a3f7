#include "mp4/configuration.h"

#include <span>

#include "base/bytes.h"
#include "mp4/annexb.h"
#include "mp4/bit_reader.h"
#include "mp4/box_io.h"

namespace orventa {
namespace {

using Bytes = std::span<const uint8_t>;
using Units = std::vector<Bytes>;

// Counts and lengths in the records are narrow fields.
constexpr size_t kMaxSps = 31;
constexpr size_t kMaxPps = 255;
constexpr size_t kMaxUnitBytes = 0xFFFF;

Status Refuse(const char* why) {
  return {StatusCode::InvalidArgument, why};
}

bool AllFit(const Units& units) {
  for (const Bytes unit : units) {
    if (unit.size() > kMaxUnitBytes) return false;
  }
  return units.size() <= kMaxUnitBytes;
}

void WriteUnits(ByteWriter& out, const Units& units) {
  for (const Bytes unit : units) {
    out.U16(static_cast<uint32_t>(unit.size()));
    out.Bytes(unit);
  }
}

Status BuildAvcC(Bytes header, std::vector<uint8_t>& record) {
  Units sps, pps;
  AnnexBUnits units(header);
  for (Bytes unit; units.Next(unit);) {
    const uint32_t type = H264UnitType(unit);
    if (type == 7) sps.push_back(unit);
    if (type == 8) pps.push_back(unit);
  }
  if (sps.empty() || pps.empty()) {
    return Refuse("sequence header contains no SPS/PPS -- cannot build avcC");
  }
  if (sps[0].size() < 4) return Refuse("SPS too short");
  if (sps.size() > kMaxSps || pps.size() > kMaxPps || !AllFit(sps) || !AllFit(pps)) {
    return Refuse("parameter sets too large for avcC");
  }

  ByteWriter out(record);
  out.U8(1);
  out.Bytes(sps[0].subspan(1, 3));  // profile, compatibility, level
  out.U8(0xFF);                     // four-byte lengths
  out.U8(0xE0 | static_cast<uint32_t>(sps.size()));
  WriteUnits(out, sps);
  out.U8(static_cast<uint32_t>(pps.size()));
  WriteUnits(out, pps);
  return Status::Ok();
}

struct HevcSps {
  uint32_t profile_byte = 0;  // general_profile_space, general_tier_flag, general_profile_idc
  uint32_t compatibility_flags = 0;
  uint32_t constraint_flags_high = 0;  // the upper 32 of 48
  uint32_t constraint_flags_low = 0;
  uint32_t level_idc = 0;
  uint32_t chroma_format_idc = 0;
  uint32_t bit_depth_luma_minus8 = 0;
  uint32_t bit_depth_chroma_minus8 = 0;
};

// Drops the 03 of every 00 00 03, which only keeps start codes from appearing.
std::vector<uint8_t> WithoutEmulationPrevention(Bytes unit) {
  std::vector<uint8_t> plain;
  plain.reserve(unit.size());
  uint32_t zeros = 0;
  for (const uint8_t byte : unit) {
    if (zeros >= 2 && byte == 3) {
      zeros = 0;
      continue;
    }
    zeros = byte == 0 ? zeros + 1 : 0;
    plain.push_back(byte);
  }
  return plain;
}

void SkipSubLayers(BitReader& in, uint32_t max_sub_layers_minus1) {
  if (max_sub_layers_minus1 == 0) return;
  bool profile_present[8] = {};
  bool level_present[8] = {};
  for (uint32_t i = 0; i < max_sub_layers_minus1; ++i) {
    profile_present[i] = in.Bits(1) != 0;
    level_present[i] = in.Bits(1) != 0;
  }
  in.Skip(2 * (8 - max_sub_layers_minus1));
  for (uint32_t i = 0; i < max_sub_layers_minus1; ++i) {
    if (profile_present[i]) in.Skip(88);
    if (level_present[i]) in.Skip(8);
  }
}

bool ParseHevcSps(Bytes unit, HevcSps& sps) {
  constexpr size_t kUnitHeaderBytes = 2;
  if (unit.size() < kUnitHeaderBytes) return false;
  const auto plain = WithoutEmulationPrevention(unit.subspan(kUnitHeaderBytes));
  BitReader in(plain);
  in.Skip(4);  // VPS id
  const uint32_t max_sub_layers_minus1 = in.Bits(3);
  in.Skip(1);  // temporal id nesting
  sps.profile_byte = in.Bits(8);
  sps.compatibility_flags = in.Bits(32);
  sps.constraint_flags_high = in.Bits(32);
  sps.constraint_flags_low = in.Bits(16);
  sps.level_idc = in.Bits(8);
  SkipSubLayers(in, max_sub_layers_minus1);
  (void)in.Ue();  // SPS id
  sps.chroma_format_idc = in.Ue();
  if (sps.chroma_format_idc == 3) in.Skip(1);  // separate colour planes
  (void)in.Ue();                               // width
  (void)in.Ue();                               // height
  if (in.Bits(1) != 0) {                       // conformance window
    for (int edge = 0; edge < 4; ++edge) (void)in.Ue();
  }
  sps.bit_depth_luma_minus8 = in.Ue();
  sps.bit_depth_chroma_minus8 = in.Ue();
  return !in.failed() && sps.chroma_format_idc <= 3 && sps.bit_depth_luma_minus8 <= 7 &&
         sps.bit_depth_chroma_minus8 <= 7;
}

Status BuildHvcC(Bytes header, std::vector<uint8_t>& record) {
  constexpr uint32_t kFirstType = 32;  // VPS, then SPS and PPS
  constexpr size_t kKinds = 3;
  Units sets[kKinds];
  AnnexBUnits units(header);
  for (Bytes unit; units.Next(unit);) {
    const uint32_t type = HevcUnitType(unit);
    if (type >= kFirstType && type < kFirstType + kKinds) sets[type - kFirstType].push_back(unit);
  }
  for (const Units& set : sets) {
    if (set.empty()) return Refuse("HEVC sequence header is missing VPS, SPS or PPS");
    if (!AllFit(set)) return Refuse("parameter sets too large for hvcC");
  }
  HevcSps sps;
  if (!ParseHevcSps(sets[1][0], sps)) return Refuse("could not parse the HEVC SPS");

  ByteWriter out(record);
  out.U8(1);
  out.U8(sps.profile_byte);
  out.U32(sps.compatibility_flags);
  out.U32(sps.constraint_flags_high);
  out.U16(sps.constraint_flags_low);
  out.U8(sps.level_idc);
  out.U16(0xF000);  // no spatial segmentation told
  out.U8(0xFC);     // kind of parallelism unknown
  out.U8(0xFC | sps.chroma_format_idc);
  out.U8(0xF8 | sps.bit_depth_luma_minus8);
  out.U8(0xF8 | sps.bit_depth_chroma_minus8);
  out.U16(0);    // average frame rate not told
  out.U8(0x0F);  // one temporal layer, nested, four-byte lengths
  out.U8(kKinds);
  for (size_t kind = 0; kind < kKinds; ++kind) {
    out.U8(0x80 | (kFirstType + static_cast<uint32_t>(kind)));  // the array is complete
    out.U16(static_cast<uint32_t>(sets[kind].size()));
    WriteUnits(out, sets[kind]);
  }
  return Status::Ok();
}

// The OBU's payload after its header, extension and size. Empty: malformed.
Bytes SequenceHeaderPayload(Bytes obu) {
  constexpr uint32_t kSequenceHeader = 1;
  ByteReader in(obu);
  const uint32_t header = in.U8();
  if (((header >> 3) & 0x0F) != kSequenceHeader) return {};
  if ((header & 0x04) != 0) in.Skip(1);  // extension
  if ((header & 0x02) == 0) return in.Bytes(in.remaining());
  uint64_t size = 0;
  for (uint32_t shift = 0; shift < 56; shift += 7) {
    const uint32_t byte = in.U8();
    size |= static_cast<uint64_t>(byte & 0x7F) << shift;
    if ((byte & 0x80) == 0) return in.Bytes(size < in.remaining() ? size : in.remaining());
  }
  return {};
}

struct Av1Sequence {
  uint32_t profile = 0;
  uint32_t level_idx = 0;
  uint32_t tier = 0;
};

Status ParseAv1Sequence(Bytes payload, Av1Sequence& sequence) {
  BitReader in(payload);
  sequence.profile = in.Bits(3);
  in.Skip(1);  // still picture
  const bool reduced_header = in.Bits(1) != 0;
  if (reduced_header) {
    sequence.level_idx = in.Bits(5);
  } else {
    if (in.Bits(1) != 0) {
      return Refuse("AV1 sequence header carries timing info, which is not handled");
    }
    in.Skip(1 + 5 + 12);  // display delay flag, operating points, the first one's idc
    sequence.level_idx = in.Bits(5);
    if (sequence.level_idx > 7) sequence.tier = in.Bits(1);
  }
  return in.failed() ? Refuse("could not parse the AV1 sequence header") : Status::Ok();
}

Status BuildAv1C(const Mp4VideoTrack& track, std::vector<uint8_t>& record) {
  const Bytes obu = track.sequence_header;
  if (obu.empty()) return Refuse("empty AV1 sequence header");
  const Bytes payload = SequenceHeaderPayload(obu);
  if (payload.empty()) return Refuse("malformed AV1 sequence header");
  Av1Sequence sequence;
  if (Status status = ParseAv1Sequence(payload, sequence); !status.ok()) return status;

  constexpr uint32_t kSubsampling420 = 0x0C;
  constexpr uint32_t kHighBitdepth = 0x40;
  ByteWriter out(record);
  out.U8(0x81);
  out.U8(sequence.profile << 5 | sequence.level_idx);
  out.U8(sequence.tier << 7 | (track.bit_depth == 1 ? kHighBitdepth : 0) | kSubsampling420);
  out.U8(0);
  out.Bytes(obu);
  return Status::Ok();
}

}  // namespace

Status BuildConfiguration(const Mp4VideoTrack& track, VideoConfiguration& out) {
  out.record.clear();
  switch (track.codec) {
    case Mp4Codec::H264:
      out.sample_entry = FourCc("avc1");
      out.box = FourCc("avcC");
      return BuildAvcC(track.sequence_header, out.record);
    case Mp4Codec::Hevc:
      out.sample_entry = FourCc("hvc1");
      out.box = FourCc("hvcC");
      return BuildHvcC(track.sequence_header, out.record);
    case Mp4Codec::Av1:
      out.sample_entry = FourCc("av01");
      out.box = FourCc("av1C");
      return BuildAv1C(track, out.record);
  }
  return Refuse("unknown video codec");
}

}  // namespace orventa
