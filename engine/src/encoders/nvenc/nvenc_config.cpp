#include "encoders/nvenc/nvenc_config.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <limits>

#include "base/log.h"
#include "encoders/nvenc/nvenc_api.h"
#include "encoders/nvenc_presets.h"

namespace orventa {
namespace {

using namespace nvenc;

constexpr uint32_t kMaxQp = 51;
constexpr uint32_t kAqStrength = 8;  // of 15
constexpr uint32_t kSplitDriver = 555'00;

uint32_t Clamped(uint64_t value) {
  return static_cast<uint32_t>(std::min<uint64_t>(value, std::numeric_limits<uint32_t>::max()));
}

uint32_t BitsPerSecond(uint32_t kbps) {
  return Clamped(uint64_t{kbps} * 1000);
}

// Frames, to the nearest.
uint32_t GopLength(const EncoderSettings& settings) {
  const uint64_t frames =
      uint64_t{std::max(settings.keyframe_seconds, 1U)} * settings.fps_num + settings.fps_den / 2;
  return std::max(Clamped(frames / settings.fps_den), 1U);
}

void FillRateControl(const EncoderSettings& settings, NV_ENC_RC_PARAMS& rc) {
  rc.version = NV_ENC_RC_PARAMS{}.version;
  switch (settings.rate_control) {
    case RateControl::Cbr:
      rc.rateControlMode = NV_ENC_PARAMS_RC_CBR;
      rc.averageBitRate = rc.maxBitRate = BitsPerSecond(settings.bitrate_kbps);
      rc.vbvBufferSize = rc.vbvInitialDelay = rc.averageBitRate;
      break;
    case RateControl::Vbr:
      rc.rateControlMode = NV_ENC_PARAMS_RC_VBR;
      rc.averageBitRate = BitsPerSecond(settings.bitrate_kbps);
      rc.maxBitRate = BitsPerSecond(settings.max_bitrate_kbps);
      break;
    case RateControl::ConstantQp: {
      rc.rateControlMode = NV_ENC_PARAMS_RC_CONSTQP;
      const uint32_t qp = settings.qp * (settings.codec == Codec::Av1 ? 5 : 1);
      rc.constQP = {qp, qp, qp};
      break;
    }
  }
  rc.flags &= ~(kRcEnableLookahead | kRcEnableAq | kRcAqStrengthMask);
  rc.lookaheadDepth = 0;
  if (settings.adaptive_quantization) {
    rc.flags |= kRcEnableAq | kAqStrength << kRcAqStrengthShift;
  }
}

// The numbers that H.264, HEVC and AV1 share for colours.
struct ColourNumbers {
  uint32_t primaries;
  uint32_t transfer;
  uint32_t matrix;
};

ColourNumbers NumbersOf(const EncoderSettings& settings) {
  static constexpr std::array<uint32_t, 3> kTransfers = {1, 16, 18};  // BT.709, PQ, HLG
  return {settings.colour_primaries == ColourPrimaries::Bt2020 ? 9U : 1U,
          kTransfers[static_cast<size_t>(settings.transfer)],
          settings.matrix == ColourMatrix::Bt2020 ? 9U : 1U};
}

void FillSignal(const EncoderSettings& settings, NV_ENC_CONFIG_H264_VUI_PARAMETERS& vui) {
  const ColourNumbers colour = NumbersOf(settings);
  vui.videoSignalTypePresentFlag = 1;
  vui.videoFormat = NV_ENC_VUI_VIDEO_FORMAT_UNSPECIFIED;
  vui.videoFullRangeFlag = settings.full_range ? 1 : 0;
  vui.colourDescriptionPresentFlag = 1;
  vui.colourPrimaries = colour.primaries;
  vui.transferCharacteristics = colour.transfer;
  vui.colourMatrix = colour.matrix;
}

uint32_t Depth(const EncoderSettings& settings) {
  return settings.input_format == EncoderInput::P010 ? NV_ENC_BIT_DEPTH_10 : NV_ENC_BIT_DEPTH_8;
}

bool HasMastering(const EncoderSettings& settings) {
  return settings.mastering != MasteringMetadata{};
}

void FillH264(const EncoderSettings& settings, NV_ENC_CONFIG_H264& h264) {
  h264.flags &= ~(kH264OutputAud | kH264RepeatSpsPps | kH264EnableFillerData);
  h264.idrPeriod = GopLength(settings);
  h264.chromaFormatIDC = kChroma420;
  FillSignal(settings, h264.h264VUIParameters);
}

void FillHevc(const EncoderSettings& settings, NV_ENC_CONFIG_HEVC& hevc) {
  hevc.flags &= ~(kHevcOutputAud | kHevcRepeatSpsPps | kHevcChromaFormatMask);
  hevc.flags |= kChroma420 << kHevcChromaFormatShift;
  if (HasMastering(settings)) hevc.flags |= kHevcOutputMaxCll | kHevcOutputMasteringDisplay;
  hevc.idrPeriod = GopLength(settings);
  hevc.outputBitDepth = hevc.inputBitDepth = Depth(settings);
  FillSignal(settings, hevc.hevcVUIParameters);
}

void FillAv1(const EncoderSettings& settings, NV_ENC_CONFIG_AV1& av1) {
  av1.flags &= ~(kAv1OutputAnnexB | kAv1ChromaFormatMask);
  av1.flags |= kAv1RepeatSeqHdr | kChroma420 << kAv1ChromaFormatShift;
  if (HasMastering(settings)) av1.flags |= kAv1OutputMaxCll | kAv1OutputMasteringDisplay;
  av1.idrPeriod = GopLength(settings);
  av1.outputBitDepth = av1.inputBitDepth = Depth(settings);
  const ColourNumbers colour = NumbersOf(settings);
  av1.colorPrimaries = colour.primaries;
  av1.transferCharacteristics = colour.transfer;
  av1.matrixCoefficients = colour.matrix;
  av1.colorRange = settings.full_range ? 1 : 0;
}

// 32.0.15.5512 is the display driver 555.12.
bool DriverSplitsOnDemand(uint64_t driver_version) {
  const uint64_t part2 = driver_version >> 16 & 0xFFFF;
  const uint64_t part3 = driver_version & 0xFFFF;
  return part2 % 10 * 10'000 + part3 >= kSplitDriver;
}

uint32_t SplitMode(const EncoderSettings& settings, uint64_t driver_version) {
  switch (settings.split_encode) {
    case SplitEncode::Automatic: break;
    case SplitEncode::AskedFor:
      if (settings.codec != Codec::H264 && DriverSplitsOnDemand(driver_version)) {
        return NV_ENC_SPLIT_AUTO_FORCED_MODE;
      }
      break;
    case SplitEncode::Off: return NV_ENC_SPLIT_DISABLE_MODE;
  }
  return NV_ENC_SPLIT_AUTO_MODE;
}

}  // namespace

Status NvencSettings(const EncoderSettings& wanted, EncoderSettings& out) {
  if (wanted.width == 0 || wanted.height == 0) {
    return {StatusCode::InvalidArgument, "zero frame dimensions"};
  }
  if (wanted.fps_num == 0 || wanted.fps_den == 0) {
    return {StatusCode::InvalidArgument, "invalid frame rate"};
  }
  if (wanted.codec == Codec::H264 && wanted.input_format == EncoderInput::P010) {
    return {StatusCode::Unsupported, "h264 is encoded at 8 bits only"};
  }
  out = wanted;
  out.max_bitrate_kbps = std::max(out.max_bitrate_kbps, out.bitrate_kbps);
  out.qp = std::min(out.qp, kMaxQp);
  const auto presets = NvencPresets(out.codec);
  const bool known = std::any_of(presets.begin(), presets.end(),
                                 [&](const auto& preset) { return preset.name == out.preset; });
  if (!known && !out.preset.empty()) {
    LogInfo("encoder: NVENC has no preset \"%s\"", out.preset.c_str());
  }
  if (!known) out.preset = kDefaultNvencPreset;
  return Status::Ok();
}

const GUID& NvencPresetGuid(const EncoderSettings& settings) {
  const auto number = static_cast<size_t>(settings.preset.at(1) - '1');  // of "p1" to "p7"
  return NV_ENC_PRESET_GUIDS[std::min(number, std::size(NV_ENC_PRESET_GUIDS) - 1)];
}

uint32_t NvencTuning(const EncoderSettings& settings) {
  return settings.low_latency ? NV_ENC_TUNING_INFO_LOW_LATENCY : NV_ENC_TUNING_INFO_HIGH_QUALITY;
}

uint32_t NvencBufferFormat(const EncoderSettings& settings) {
  switch (settings.input_format) {
    case EncoderInput::Nv12: break;
    case EncoderInput::P010: return NV_ENC_BUFFER_FORMAT_YUV420_10BIT;
    case EncoderInput::Bgra: return NV_ENC_BUFFER_FORMAT_ARGB;
  }
  return NV_ENC_BUFFER_FORMAT_NV12;
}

void FillNvencConfig(const EncoderSettings& settings, NV_ENC_CONFIG& config) {
  config.version = NV_ENC_CONFIG{}.version;
  config.profileGUID = NV_ENC_CODEC_PROFILE_AUTOSELECT_GUID;
  config.gopLength = GopLength(settings);
  config.frameIntervalP = static_cast<int32_t>(settings.b_frames) + 1;
  FillRateControl(settings, config.rcParams);
  switch (settings.codec) {
    case Codec::H264: FillH264(settings, config.encodeCodecConfig.h264Config); break;
    case Codec::Hevc: FillHevc(settings, config.encodeCodecConfig.hevcConfig); break;
    case Codec::Av1: FillAv1(settings, config.encodeCodecConfig.av1Config); break;
  }
}

NV_ENC_INITIALIZE_PARAMS NvencInitParams(const EncoderSettings& settings, uint64_t driver_version,
                                         NV_ENC_CONFIG& config) {
  NV_ENC_INITIALIZE_PARAMS params{};
  params.encodeGUID = NvencCodecGuid(settings.codec);
  params.presetGUID = NvencPresetGuid(settings);
  params.encodeWidth = params.maxEncodeWidth = params.darWidth = settings.width;
  params.encodeHeight = params.maxEncodeHeight = params.darHeight = settings.height;
  params.frameRateNum = settings.fps_num;
  params.frameRateDen = settings.fps_den;
  params.enableEncodeAsync = 0;
  params.enablePTD = 1;
  params.flags = SplitMode(settings, driver_version) << kInitSplitEncodeShift;
  params.encodeConfig = &config;
  params.tuningInfo = NvencTuning(settings);
  return params;
}

// HEVC counts chromaticity in 1/50000 and luminance in 1/10000 nit; AV1 has fixed
// points with 16 bits after the point, and 8 for the brightest, 14 for the darkest.
MASTERING_DISPLAY_INFO NvencMasteringDisplay(const EncoderSettings& settings) {
  const MasteringMetadata& mastering = settings.mastering;
  const bool av1 = settings.codec == Codec::Av1;
  const auto scaled = [](float value, float scale, float ceiling) {
    return std::lround(std::clamp(value * scale, 0.0F, ceiling));
  };
  const auto point = [&](size_t index) {
    const auto part = [&](float value) {
      return static_cast<uint16_t>(scaled(value, av1 ? 65536.0F : 50000.0F, 65535.0F));
    };
    return MASTERING_DISPLAY_INFO::CHROMA_POINTS{part(mastering.chromaticity[index]),
                                                 part(mastering.chromaticity[index + 1])};
  };
  constexpr float kMost = 2'000'000'000.0F;
  MASTERING_DISPLAY_INFO info{};
  info.r = point(0);
  info.g = point(2);
  info.b = point(4);
  info.whitePoint = point(6);
  info.maxLuma = static_cast<uint32_t>(scaled(mastering.max_nits, av1 ? 256.0F : 10000.0F, kMost));
  info.minLuma =
      static_cast<uint32_t>(scaled(mastering.min_nits, av1 ? 16384.0F : 10000.0F, kMost));
  return info;
}

}  // namespace orventa
