#include "encoders/amf/amf_options.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "encoders/card_rules.h"

namespace orventa {
namespace {

using amf::AMFVariantStruct;

constexpr std::array<AmfCodecNames, kCodecCount> kNames = {{
    {L"AMFVideoEncoderVCE_AVC", L"ExtraData", nullptr, L"ForcePictureType", 2, nullptr,
     L"OutputDataType"},
    {L"AMFVideoEncoderHW_HEVC", L"HevcExtraData", L"HevcInHDRMetadata", L"HevcForcePictureType", 2,
     nullptr, L"HevcOutputDataType"},
    {L"AMFVideoEncoderHW_AV1", L"Av1ExtraData", L"Av1InHDRMetadata", L"Av1ForceFrameType", 1,
     L"Av1ForceInsertSequenceHeader", L"Av1OutputFrameType"},
}};

// By preset, slowest last, and codec.
constexpr int64_t kQualityPresets[][kCodecCount] = {{1, 10, 100}, {0, 5, 70}, {2, 0, 30}};

constexpr auto Bool = AMFVariantStruct::OfBool;
constexpr auto Int = AMFVariantStruct::OfInt;
constexpr auto Pair = AMFVariantStruct::OfPair;

// Gathers properties by their three names; null: this codec has no such one.
class Properties {
 public:
  using Names = std::array<const wchar_t*, kCodecCount>;
  explicit Properties(Codec codec) : codec_(static_cast<size_t>(codec)) {}

  void Require(const Names& names, const AMFVariantStruct& value) { Add(names, value, true); }
  void Wish(const Names& names, const AMFVariantStruct& value) { Add(names, value, false); }
  std::vector<AmfProperty> Take() { return std::move(list_); }

 private:
  void Add(const Names& names, const AMFVariantStruct& value, bool required) {
    if (names[codec_] != nullptr) list_.push_back({names[codec_], value, required});
  }

  const size_t codec_;
  std::vector<AmfProperty> list_;
};

void AddPicture(const EncoderSettings& settings, Properties& out) {
  const bool ten_bit = settings.input_format == EncoderInput::P010;
  constexpr int64_t kProfileHigh = 100;
  const int64_t profile = settings.codec == Codec::H264 ? kProfileHigh : 1;
  const bool main10 = settings.codec == Codec::Hevc && ten_bit;
  out.Require({L"Profile", L"HevcProfile", L"Av1Profile"}, Int(main10 ? 2 : profile));
  out.Require({nullptr, L"HevcColorBitDepth", L"Av1ColorBitDepth"}, Int(ten_bit ? 10 : 8));
  out.Require({L"FrameSize", L"HevcFrameSize", L"Av1FrameSize"},
              Pair(AMFVariantStruct::Size, settings.width, settings.height));
  out.Require({L"FrameRate", L"HevcFrameRate", L"Av1FrameRate"},
              Pair(AMFVariantStruct::Rate, settings.fps_num, settings.fps_den));
  // Sizes off the encoder's raster are padded in the stream rather than refused.
  constexpr int64_t kNoRestriction = 3;
  out.Wish({nullptr, nullptr, L"Av1AlignmentMode"}, Int(kNoRestriction));
}

void AddRateControl(const EncoderSettings& settings, Properties& out) {
  const bool avc = settings.codec == Codec::H264;
  const bool constant_qp = settings.rate_control == RateControl::ConstantQp;
  const bool constant_rate = settings.rate_control == RateControl::Cbr;
  constexpr int64_t kPeakConstrained = 2;
  int64_t method = kPeakConstrained;
  if (constant_qp) method = 0;
  if (constant_rate) method = avc ? 1 : 3;
  out.Require({L"RateControlMethod", L"HevcRateControlMethod", L"Av1RateControlMethod"},
              Int(method));
  // Every picture that goes in is to come out.
  out.Wish({L"RateControlSkipFrameEnable", L"HevcRateControlSkipFrameEnable",
            L"Av1RateControlSkipFrameEnable"},
           Bool(false));
  if (constant_qp) {
    const int64_t qp = settings.codec == Codec::Av1 ? std::max(CodecQp(settings), 1U) : settings.qp;
    out.Require({L"QPI", L"HevcQP_I", L"Av1QIndex_Intra"}, Int(qp));
    out.Require({L"QPP", L"HevcQP_P", L"Av1QIndex_Inter"}, Int(qp));
    return;
  }
  constexpr int64_t kBitsPerKilobit = 1000;
  const int64_t rate = settings.bitrate_kbps * kBitsPerKilobit;
  const int64_t peak = constant_rate ? rate : settings.max_bitrate_kbps * kBitsPerKilobit;
  out.Require({L"TargetBitrate", L"HevcTargetBitrate", L"Av1TargetBitrate"}, Int(rate));
  out.Require({L"PeakBitrate", L"HevcPeakBitrate", L"Av1PeakBitrate"}, Int(peak));
  // A second of the peak.
  out.Wish({L"VBVBufferSize", L"HevcVBVBufferSize", L"Av1VBVBufferSize"}, Int(peak));
  out.Wish({L"FillerDataEnable", L"HevcFillerDataEnable", L"Av1FillerData"}, Bool(false));
  out.Wish({L"EnableVBAQ", L"HevcEnableVBAQ", nullptr}, Bool(settings.adaptive_quantization));
  out.Wish({nullptr, nullptr, L"Av1AQMode"}, Int(settings.adaptive_quantization ? 1 : 0));
}

void AddPictureGroups(const EncoderSettings& settings, Properties& out) {
  out.Require({L"IDRPeriod", L"HevcGOPSize", L"Av1GOPSize"}, Int(0));
  out.Wish({L"BPicturesPattern", nullptr, L"Av1BPicturesPattern"}, Int(0));
  out.Wish({L"LowLatencyInternal", L"LowLatencyInternal", nullptr}, Bool(settings.low_latency));
  constexpr int64_t kRealTime = 2;
  out.Wish({nullptr, nullptr, L"Av1EncodingLatencyMode"},
           Int(settings.low_latency ? kRealTime : 0));
}

// Nothing is converted, so what goes in is what comes out.
void AddColour(const EncoderSettings& settings, Properties& out) {
  const bool wide = settings.matrix == ColourMatrix::Bt2020;
  const int64_t limited = wide ? 2 : 1;
  const int64_t profile = settings.full_range ? limited + 6 : limited;
  const ColourNumbers colour = ColourNumbersOf(settings);
  out.Wish({L"InColorProfile", L"HevcInColorProfile", L"Av1InputColorProfile"}, Int(profile));
  out.Wish({L"OutColorProfile", L"HevcOutColorProfile", L"Av1OutputColorProfile"}, Int(profile));
  out.Wish({L"InColorTransferChar", L"HevcInColorTransferChar", L"Av1InputColorTransferChar"},
           Int(colour.transfer));
  out.Wish({L"OutColorTransferChar", L"HevcOutColorTransferChar", L"Av1OutputColorTransferChar"},
           Int(colour.transfer));
  out.Wish({L"InColorPrimaries", L"HevcInColorPrimaries", L"Av1InputColorPrimaries"},
           Int(colour.primaries));
  out.Wish({L"OutColorPrimaries", L"HevcOutColorPrimaries", L"Av1OutputColorPrimaries"},
           Int(colour.primaries));
  out.Wish({L"OutMatrixCoeff", L"HevcOutMatrixCoeff", L"Av1OutMatrixCoeff"}, Int(colour.matrix));
  out.Wish({L"FullRangeColor", nullptr, L"Av1NominalRange"}, Bool(settings.full_range));
  out.Wish({nullptr, L"HevcNominalRange", nullptr}, Int(settings.full_range ? 1 : 0));
}

}  // namespace

const AmfCodecNames& AmfNames(Codec codec) {
  return kNames[std::min<size_t>(static_cast<size_t>(codec), kCodecCount - 1)];
}

std::vector<AmfProperty> AmfProperties(const EncoderSettings& settings) {
  Properties out(settings.codec);
  // First of all: it sets all the others. This one has the same number in each codec
  // and adds nothing that would have to be taken back.
  constexpr int64_t kTranscoding = 0;
  out.Require({L"Usage", L"HevcUsage", L"Av1Usage"}, Int(kTranscoding));
  AddPicture(settings, out);
  out.Wish(
      {L"QualityPreset", L"HevcQualityPreset", L"Av1QualityPreset"},
      Int(kQualityPresets[SpeedPresetIndex(settings.preset)][static_cast<size_t>(settings.codec)]));
  AddRateControl(settings, out);
  AddPictureGroups(settings, out);
  AddColour(settings, out);
  return out.Take();
}

amf::AMFHDRMetadata AmfMetadata(const MasteringMetadata& mastering) {
  amf::AMFHDRMetadata metadata{};
  for (size_t i = 0; i < std::size(metadata.primaries); ++i) {
    metadata.primaries[i] = ChromaticityUnits(mastering.chromaticity[i], 50'000.0F);
  }
  metadata.max_luminance = MasteringUnits(mastering.max_nits, 10'000.0F);
  metadata.min_luminance = MasteringUnits(mastering.min_nits, 10'000.0F);
  metadata.max_content_light = mastering.max_cll;
  metadata.max_average_light = mastering.max_fall;
  return metadata;
}

}  // namespace orventa
