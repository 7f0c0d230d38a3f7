#include "mp4/sample_entries.h"

#include <algorithm>
#include <iterator>

#include "mp4/boxes.h"
#include "mp4/fixed_point.h"

namespace orventa {
namespace {

// The code points of ISO/IEC 23091-2.
ColourInformation Colour(const Mp4VideoTrack& track) {
  ColourInformation colour;
  colour.colour_primaries = track.primaries == Mp4Primaries::Bt2020 ? 9 : 1;
  if (track.transfer == Mp4Transfer::Pq) colour.transfer_characteristics = 16;
  if (track.transfer == Mp4Transfer::Hlg) colour.transfer_characteristics = 18;
  colour.matrix_coefficients = track.matrix == Mp4Matrix::Bt2020 ? 9 : 1;
  colour.full_range_flag = track.full_range ? 0x80 : 0;
  return colour;
}

MasteringDisplayColourVolume Mastering(const Mp4VideoTrack& track) {
  MasteringDisplayColourVolume box;
  box.max_luminance = TenThousandthNits(track.mastering_max_nits);
  box.min_luminance = TenThousandthNits(track.mastering_min_nits);
  const bool known = std::all_of(std::begin(track.chromaticity), std::end(track.chromaticity),
                                 [](float value) { return value > 0 && value < 1; });
  if (!known) return box;
  for (size_t i = 0; i < box.chromaticities.size(); ++i) {
    box.chromaticities[i] = static_cast<uint16_t>(
        FractionIn(track.chromaticity[kMasteringOrder[i]], kChromaticityParts));
  }
  return box;
}

void WriteHdrBoxes(ByteWriter& out, const Mp4VideoTrack& track) {
  if (track.transfer == Mp4Transfer::Sdr) return;
  if (track.mastering_max_nits > 0) WriteBox(out, Mastering(track));
  if (track.max_cll > 0) {
    ContentLightLevel light;
    light.max_content_light_level = track.max_cll;
    light.max_pic_average_light_level = track.max_fall;
    WriteBox(out, light);
  }
  if (track.sdr_white_nits > 0) {
    SdrWhite white;
    white.luminance = TenThousandthNits(track.sdr_white_nits);
    WriteBox(out, white);
  }
}

void WriteEsds(ByteWriter& out, const Mp4AudioTrack& track) {
  constexpr size_t kDescriptorHeaderBytes = 2;
  // Nominal; players take the real rate from the samples.
  constexpr uint32_t kBitRate = 160000;
  const size_t decoder_config_bytes = 13 + kDescriptorHeaderBytes + track.config.size();
  const size_t sl_config_bytes = 1;
  const size_t es_bytes =
      3 + kDescriptorHeaderBytes + decoder_config_bytes + kDescriptorHeaderBytes + sl_config_bytes;
  const auto descriptor = [&out](EsTag tag, size_t bytes) {
    out.U8(static_cast<uint8_t>(tag));
    out.U8(static_cast<uint32_t>(bytes));
  };

  BoxScope box(out, FourCc("esds"));
  out.U32(0);
  descriptor(EsTag::Es, es_bytes);
  out.U16(1);  // ES id
  out.U8(0);
  descriptor(EsTag::DecoderConfig, decoder_config_bytes);
  out.U8(kAacObjectType);
  out.U8(0x15);  // audio stream
  out.U24(0);    // buffer size
  out.U32(kBitRate);
  out.U32(kBitRate);
  descriptor(EsTag::SpecificInfo, track.config.size());
  out.Bytes(track.config);
  descriptor(EsTag::SlConfig, sl_config_bytes);
  out.U8(2);
}

}  // namespace

void WriteVideoSampleEntry(ByteWriter& out, const Mp4VideoTrack& track,
                           const VideoConfiguration& configuration) {
  BoxScope entry(out, configuration.sample_entry);
  out.Zeros(6);
  out.U16(1);  // data reference
  out.Zeros(16);
  out.U16(track.width);
  out.U16(track.height);
  out.U32(0x00480000);  // 72 dpi
  out.U32(0x00480000);
  out.U32(0);
  out.U16(1);     // frames a sample
  out.Zeros(32);  // compressor name
  out.U16(0x0018);
  out.U16(0xFFFF);
  {
    BoxScope box(out, configuration.box);
    out.Bytes(configuration.record);
  }
  WriteBox(out, Colour(track));
  WriteHdrBoxes(out, track);
}

void WriteSoundSampleEntry(ByteWriter& out, const Mp4AudioTrack& track) {
  BoxScope entry(out, FourCc("mp4a"));
  out.Zeros(6);
  out.U16(1);  // data reference
  out.Zeros(8);
  out.U16(track.channels);
  out.U16(16);  // bits a sample
  out.Zeros(4);
  // 16.16: a rate that does not fit stands in the AudioSpecificConfig alone.
  out.U16(track.sample_rate <= 0xFFFF ? track.sample_rate : 0);
  out.U16(0);
  WriteEsds(out, track);
}

}  // namespace orventa
