#include "encoders/nvenc/nvenc_config.h"

#include <algorithm>
#include <iterator>

#include "encoders/card_rules.h"
#include "encoders/nvenc/nvenc_api.h"
#include "encoders/nvenc_presets.h"

namespace orventa {
namespace {

using namespace nvenc;

constexpr uint32_t kAqStrength = 8;  // of 15
constexpr uint32_t kSplitDriver = 555'00;

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
      const uint32_t qp = CodecQp(settings);
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

void FillSignal(const EncoderSettings& settings, NV_ENC_CONFIG_H264_VUI_PARAMETERS& vui) {
  const ColourNumbers colour = ColourNumbersOf(settings);
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
  h264.idrPeriod = KeyframeDistance(settings);
  h264.chromaFormatIDC = kChroma420;
  FillSignal(settings, h264.h264VUIParameters);
}

void FillHevc(const EncoderSettings& settings, NV_ENC_CONFIG_HEVC& hevc) {
  hevc.flags &= ~(kHevcOutputAud | kHevcRepeatSpsPps | kHevcChromaFormatMask);
  hevc.flags |= kChroma420 << kHevcChromaFormatShift;
  if (HasMastering(settings)) hevc.flags |= kHevcOutputMaxCll | kHevcOutputMasteringDisplay;
  hevc.idrPeriod = KeyframeDistance(settings);
  hevc.outputBitDepth = hevc.inputBitDepth = Depth(settings);
  FillSignal(settings, hevc.hevcVUIParameters);
}

void FillAv1(const EncoderSettings& settings, NV_ENC_CONFIG_AV1& av1) {
  av1.flags &= ~(kAv1OutputAnnexB | kAv1ChromaFormatMask);
  av1.flags |= kAv1RepeatSeqHdr | kChroma420 << kAv1ChromaFormatShift;
  if (HasMastering(settings)) av1.flags |= kAv1OutputMaxCll | kAv1OutputMasteringDisplay;
  av1.idrPeriod = KeyframeDistance(settings);
  av1.outputBitDepth = av1.inputBitDepth = Depth(settings);
  const ColourNumbers colour = ColourNumbersOf(settings);
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
  if (Status status = CardSettings(wanted, out); !status.ok()) return status;
  ChoosePreset("NVENC", NvencPresets(out.codec), kDefaultNvencPreset, out);
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
  config.gopLength = KeyframeDistance(settings);
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
  const auto point = [&](size_t index) {
    const float scale = av1 ? 65536.0F : 50000.0F;
    return MASTERING_DISPLAY_INFO::CHROMA_POINTS{
        ChromaticityUnits(mastering.chromaticity[index], scale),
        ChromaticityUnits(mastering.chromaticity[index + 1], scale)};
  };
  MASTERING_DISPLAY_INFO info{};
  info.r = point(0);
  info.g = point(2);
  info.b = point(4);
  info.whitePoint = point(6);
  info.maxLuma = MasteringUnits(mastering.max_nits, av1 ? 256.0F : 10000.0F);
  info.minLuma = MasteringUnits(mastering.min_nits, av1 ? 16384.0F : 10000.0F);
  return info;
}

}  // namespace orventa
