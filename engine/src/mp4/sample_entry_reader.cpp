#include "mp4/sample_entry_reader.h"

#include <optional>

#include "mp4/annexb.h"
#include "mp4/fixed_point.h"
#include "mp4/sample_entries.h"
#include "mp4/sample_table_reader.h"

namespace orventa {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr uint32_t kTenBitsMinus8 = 2;

struct CodecRow {
  uint32_t sample_entry;
  Mp4Codec codec;
  uint32_t configuration_box;
};
// The first three are what we write. In the others parameter sets may stand in the
// samples as well; the configuration record has the form of the first ones'.
constexpr CodecRow kCodecs[] = {
    {FourCc("avc1"), Mp4Codec::H264, FourCc("avcC")},
    {FourCc("hvc1"), Mp4Codec::Hevc, FourCc("hvcC")},
    {FourCc("av01"), Mp4Codec::Av1, FourCc("av1C")},
    {FourCc("avc3"), Mp4Codec::H264, FourCc("avcC")},
    {FourCc("hev1"), Mp4Codec::Hevc, FourCc("hvcC")},
};

// Appends `count` parameter sets as a byte stream; none of them is kept when
// `header` is null.
void CopyUnits(ByteReader& in, uint32_t count, std::vector<uint8_t>* header) {
  for (; count > 0 && !in.failed(); --count) {
    const Bytes unit = in.Bytes(in.U16());
    if (unit.empty() || header == nullptr) continue;
    ByteWriter out(*header);
    out.U32(1);  // a start code
    out.Bytes(unit);
  }
}

bool HasFourByteLengths(uint32_t length_size_byte) {
  return (length_size_byte & 3u) + 1 == kUnitLengthBytes;
}

bool ReadAvcC(Bytes record, Mp4VideoTrack& track) {
  ByteReader in(record);
  in.Skip(4);  // version, profile, compatibility, level
  if (!HasFourByteLengths(in.U8())) return false;
  CopyUnits(in, in.U8() & 0x1Fu, &track.sequence_header);
  CopyUnits(in, in.U8(), &track.sequence_header);
  if (in.failed()) return false;
  // High profiles may go on: chroma format, then the bit depth.
  in.Skip(1);
  const uint32_t bit_depth_luma_minus8 = in.U8() & 7u;
  track.bit_depth = !in.failed() && bit_depth_luma_minus8 == kTenBitsMinus8 ? 1 : 0;
  return true;
}

bool ReadHvcC(Bytes record, Mp4VideoTrack& track) {
  ByteReader in(record);
  in.Skip(17);
  track.bit_depth = (in.U8() & 7u) == kTenBitsMinus8 ? 1 : 0;
  in.Skip(3);
  if (!HasFourByteLengths(in.U8())) return false;
  for (uint32_t arrays = in.U8(); arrays > 0 && !in.failed(); --arrays) {
    const uint32_t type = in.U8() & 0x3Fu;
    const bool parameter_set = type >= 32 && type <= 34;
    CopyUnits(in, in.U16(), parameter_set ? &track.sequence_header : nullptr);
  }
  return !in.failed();
}

uint64_t Leb128(ByteReader& in) {
  uint64_t value = 0;
  for (uint32_t i = 0; i < 8; ++i) {
    const uint64_t byte = in.U8();
    value |= (byte & 0x7Fu) << (7 * i);
    if (byte < 0x80) break;
  }
  return value;
}

bool ReadAv1C(Bytes record, Mp4VideoTrack& track) {
  constexpr uint32_t kSequenceHeader = 1;
  ByteReader in(record);
  in.Skip(2);
  track.bit_depth = (in.U8() & 0x40u) != 0 ? 1 : 0;
  in.Skip(1);
  while (in.remaining() > 0 && !in.failed()) {
    const size_t start = in.position();
    const uint32_t header = in.U8();
    if ((header & 4u) != 0) in.Skip(1);  // extension
    in.Skip((header & 2u) != 0 ? static_cast<size_t>(Leb128(in)) : in.remaining());
    if (in.failed() || ((header >> 3) & 15u) != kSequenceHeader) continue;
    const Bytes unit = record.subspan(start, in.position() - start);
    track.sequence_header.assign(unit.begin(), unit.end());
    return true;
  }
  return !in.failed();
}

bool ReadConfiguration(Bytes record, Mp4VideoTrack& track) {
  switch (track.codec) {
    case Mp4Codec::H264: return ReadAvcC(record, track);
    case Mp4Codec::Hevc: return ReadHvcC(record, track);
    case Mp4Codec::Av1: return ReadAv1C(record, track);
  }
  return false;
}

// The code points of ISO/IEC 23091-2; all but those that we write count as BT.709.
void ReadColour(Bytes colr, Mp4VideoTrack& track) {
  ByteReader in(colr);
  const uint32_t kind = in.U32();
  const bool with_range = kind == FourCc("nclx");
  if (!with_range && kind != FourCc("nclc")) return;
  track.primaries = in.U16() == 9 ? Mp4Primaries::Bt2020 : Mp4Primaries::Bt709;
  const uint16_t transfer = in.U16();
  track.transfer = transfer == 16   ? Mp4Transfer::Pq
                   : transfer == 18 ? Mp4Transfer::Hlg
                                    : Mp4Transfer::Sdr;
  track.matrix = in.U16() == 9 ? Mp4Matrix::Bt2020 : Mp4Matrix::Bt709;
  track.full_range = with_range && (in.U8() & 0x80u) != 0;
}

void ReadHdrBox(const BoxView& box, Mp4VideoTrack& track) {
  MasteringDisplayColourVolume mastering;
  if (box.type == mastering.kType && ReadBox(box.body, mastering)) {
    for (size_t i = 0; i < mastering.chromaticities.size(); ++i) {
      track.chromaticity[kMasteringOrder[i]] =
          FractionOf(mastering.chromaticities[i], kChromaticityParts);
    }
    track.mastering_max_nits = OfTenThousandths(mastering.max_luminance);
    track.mastering_min_nits = OfTenThousandths(mastering.min_luminance);
  }
  ContentLightLevel light;
  if (box.type == light.kType && ReadBox(box.body, light)) {
    track.max_cll = light.max_content_light_level;
    track.max_fall = light.max_pic_average_light_level;
  }
  SdrWhite white;
  if (box.type == white.kType && ReadBox(box.body, white) && white.version == kUuidVersion) {
    track.sdr_white_nits = OfTenThousandths(white.luminance);
  }
}

// The body of a descriptor of this tag, which must come next. Sizes take one byte,
// or up to four of seven bits each.
std::optional<Bytes> NextDescriptor(ByteReader& in, EsTag tag) {
  if (in.U8() != static_cast<uint8_t>(tag)) return std::nullopt;
  size_t size = 0;
  for (int i = 0; i < 4; ++i) {
    const uint8_t byte = in.U8();
    size = (size << 7) | (byte & 0x7Fu);
    if (byte < 0x80) break;
  }
  const Bytes body = in.Bytes(size);
  return in.failed() ? std::nullopt : std::optional(body);
}

// The AudioSpecificConfig in the body of an esds; empty when this is not AAC.
Bytes AacConfig(Bytes esds) {
  ByteReader in(esds);
  in.Skip(4);  // version and flags
  const auto es = NextDescriptor(in, EsTag::Es);
  if (!es) return {};
  ByteReader es_in(*es);
  es_in.Skip(2);  // ES id
  const uint32_t flags = es_in.U8();
  if ((flags & 0x80u) != 0) es_in.Skip(2);           // depends on another stream
  if ((flags & 0x40u) != 0) es_in.Skip(es_in.U8());  // URL
  if ((flags & 0x20u) != 0) es_in.Skip(2);           // clock of another stream
  const auto decoder = NextDescriptor(es_in, EsTag::DecoderConfig);
  if (!decoder) return {};
  ByteReader decoder_in(*decoder);
  if (decoder_in.U8() != kAacObjectType) return {};
  decoder_in.Skip(12);  // stream type, buffer size, bit rates
  return NextDescriptor(decoder_in, EsTag::SpecificInfo).value_or(Bytes());
}

}  // namespace

SampleEntries ReadSampleEntries(Bytes stsd) {
  constexpr size_t kHeadBytes = 8;  // version, flags and count
  SampleEntries entries;
  if (stsd.size() < kHeadBytes) return entries;
  BoxReader boxes(stsd.subspan(kHeadBytes));
  for (BoxView entry; boxes.Next(entry); ++entries.count) {
    if (entries.count == 0) entries.first = entry;
    entries.one_type = entries.one_type && entry.type == entries.first.type;
  }
  return entries;
}

Status ReadVideoEntry(const BoxView& entry, Mp4VideoTrack& track) {
  const CodecRow* row = nullptr;
  for (const CodecRow& candidate : kCodecs) {
    if (candidate.sample_entry == entry.type) row = &candidate;
  }
  if (row == nullptr) {
    return RefuseFile("the video is not H.264, HEVC or AV1 (" + FourCcText(entry.type) + ")");
  }
  track.codec = row->codec;
  track.length_prefixed = true;
  ByteReader in(entry.body);
  in.Skip(24);
  track.width = in.U16();
  track.height = in.U16();
  if (entry.body.size() < kVideoEntryBytes || track.width == 0 || track.height == 0) {
    return RefuseFile("the video has no size");
  }

  bool configured = false;
  BoxReader boxes(entry.body.subspan(kVideoEntryBytes));
  for (BoxView box; boxes.Next(box);) {
    if (box.type == row->configuration_box && !configured) {
      configured = ReadConfiguration(box.body, track);
      if (!configured) return RefuseFile("the video's configuration record cannot be used");
    }
    if (box.type == ColourInformation::kType) ReadColour(box.body, track);
    ReadHdrBox(box, track);
  }
  return configured ? Status::Ok() : RefuseFile("the video has no configuration record");
}

bool ReadSoundEntry(const BoxView& entry, Mp4AudioTrack& track) {
  // QuickTime's version 1 has four more numbers.
  constexpr size_t kVersion1Bytes = 16;
  if (entry.type != FourCc("mp4a")) return false;
  ByteReader in(entry.body);
  in.Skip(8);
  const uint16_t version = in.U16();
  in.Skip(6);
  track.channels = in.U16();
  in.Skip(6);
  track.sample_rate = in.U16();  // 16.16
  const size_t head_bytes = kSoundEntryBytes + (version == 1 ? kVersion1Bytes : 0);
  if (version > 1 || entry.body.size() < head_bytes) return false;

  const Bytes children = entry.body.subspan(head_bytes);
  auto esds = FindBox(children, FourCc("esds"));
  if (!esds) {
    const auto wave = FindBox(children, FourCc("wave"));
    if (wave) esds = FindBox(wave->body, FourCc("esds"));
  }
  if (!esds) return false;
  const Bytes config = AacConfig(esds->body);
  track.config.assign(config.begin(), config.end());
  return !config.empty() && config.size() <= kMaxAudioConfigBytes;
}

std::string FourCcText(uint32_t code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const char c = static_cast<char>(code >> shift);
    text += c >= ' ' && c <= '~' ? c : '?';
  }
  return text;
}

}  // namespace orventa
