#include "encoders/lavc/lavc_options.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <thread>

#include "base/text.h"
#include "encoders/card_rules.h"
#include "encoders/nvenc_presets.h"

namespace orventa {
namespace {

constexpr uint32_t kMaxSide = 16384;

using Presets = std::vector<EncoderPreset>;

Presets Named(Codec codec, std::initializer_list<std::pair<const char*, const char*>> rows) {
  Presets presets;
  for (const auto& [name, description] : rows) presets.push_back({codec, name, description});
  return presets;
}

Presets WordPresets(Codec codec) {
  return Named(codec, {{"ultrafast", "least work for the processor"},
                       {"superfast", "little work, better compression"},
                       {"veryfast", "for processors with cores to spare"},
                       {"faster", "more work, little better"},
                       {"fast", "more work still"},
                       {"medium", "rarely fast enough beside a game"}});
}

Presets NumberPresets() {
  return Named(Codec::Av1, {{"10", "least work for the processor"},
                            {"9", "little work, better compression"},
                            {"8", "for processors with cores to spare"},
                            {"7", "more work, little better"},
                            {"6", "rarely fast enough beside a game"}});
}

// The fastest software presets are the default: they run on the processor that
// the game needs.
std::string DefaultPreset(LavcKind kind, Codec codec) {
  switch (kind) {
    case LavcKind::Nvenc: return kDefaultNvencPreset;
    case LavcKind::VaApi: return {};
    case LavcKind::Software: return codec == Codec::Av1 ? "10" : "ultrafast";
  }
  return {};
}

// Half of the processors, but two where there are two: one does not reach 60
// frames a second at 1920x1080. Each of x264's but the first holds a frame back.
int SoftwareThreads() {
  const unsigned processors = std::max(1U, std::thread::hardware_concurrency());
  return static_cast<int>(std::clamp(processors / 2, std::min(2U, processors), 3U));
}

// libaom counts quantizers from 0 to 63 where the bitstream has 0 to 255.
uint32_t AomQuantizer(uint32_t qp) {
  return std::min(qp * 5 / 4, 63U);
}

int GopSize(const EncoderSettings& settings) {
  return static_cast<int>(std::min(KeyframeDistance(settings), 100'000U));
}

std::string X265Mastering(const MasteringMetadata& mastering) {
  const auto part = [&](size_t index) {
    return static_cast<unsigned>(std::lround(mastering.chromaticity[index] * 50000.0F));
  };
  const auto nits = [](float value) {
    return static_cast<unsigned long>(std::llround(double{value} * 10000.0));
  };
  return Format(
      ":hdr10=1:master-display=G(%u,%u)B(%u,%u)R(%u,%u)WP(%u,%u)L(%lu,%lu)"
      ":max-cll=%u,%u",
      part(2), part(3), part(4), part(5), part(0), part(1), part(6), part(7),
      nits(mastering.max_nits), nits(mastering.min_nits), unsigned{mastering.max_cll},
      unsigned{mastering.max_fall});
}

LavcOptionList X264Options(const EncoderSettings& settings) {
  // Frames come at a fixed rate, and none may wait inside for a look at later ones.
  std::string parameters = "force-cfr=1:rc-lookahead=0:sync-lookahead=0:mbtree=0:scenecut=0";
  parameters += settings.low_latency ? ":sliced-threads=1" : ":sliced-threads=0";
  return {{"preset", settings.preset},
          {"profile", "high"},
          {"forced-idr", "1"},
          {"aq-mode", settings.adaptive_quantization ? "1" : "0"},
          {"x264-params", parameters}};
}

LavcOptionList X265Options(const EncoderSettings& settings) {
  const int distance = GopSize(settings);
  std::string parameters = Format(
      "log-level=none:info=0:rc-lookahead=0:bframes=0:b-adapt=0:scenecut=0:cutree=0"
      ":open-gop=0:min-keyint=%d:frame-threads=1:pools=%d:aq-mode=%d",
      distance, SoftwareThreads(), settings.adaptive_quantization ? 2 : 0);
  if (settings.mastering != MasteringMetadata{}) {
    // The mastering messages go out only with repeated parameter sets.
    parameters += ":repeat-headers=1" + X265Mastering(settings.mastering);
  }
  return {{"preset", settings.preset}, {"forced-idr", "1"}, {"x265-params", parameters}};
}

// libaom in its mode for live pictures. SVT-AV1 would be faster, but libavcodec
// asks it for at most one packet a frame: one that is late stays inside for good.
LavcOptionList AomOptions(const EncoderSettings& settings) {
  constexpr const char* kCyclicRefresh = "3";
  return {{"usage", "realtime"},
          {"lag-in-frames", "0"},
          {"row-mt", "1"},
          {"tile-columns", "1"},
          {"aq-mode", settings.adaptive_quantization ? kCyclicRefresh : "0"},
          // Not the option of that name, which knows the numbers to 8 only.
          {"aom-params", "cpu-used=" + settings.preset}};
}

LavcOptionList SoftwareOptions(const EncoderSettings& settings) {
  LavcOptionList options;
  switch (settings.codec) {
    case Codec::H264: options = X264Options(settings); break;
    case Codec::Hevc: options = X265Options(settings); break;
    case Codec::Av1: options = AomOptions(settings); break;
  }
  if (settings.rate_control == RateControl::ConstantQp) {
    const bool av1 = settings.codec == Codec::Av1;
    options.emplace_back(av1 ? "crf" : "qp",
                         std::to_string(av1 ? AomQuantizer(settings.qp) : settings.qp));
  }
  return options;
}

LavcOptionList NvencOptions(const EncoderSettings& settings) {
  static constexpr std::array<const char*, 3> kModes = {"cbr", "vbr", "constqp"};
  LavcOptionList options = {{"preset", settings.preset},
                            {"tune", settings.low_latency ? "ll" : "hq"},
                            {"rc", kModes[static_cast<size_t>(settings.rate_control)]},
                            {"forced-idr", "1"},
                            {"rc-lookahead", "0"},
                            {"spatial-aq", settings.adaptive_quantization ? "1" : "0"},
                            {"delay", settings.low_latency ? "0" : "2"}};
  if (settings.rate_control == RateControl::ConstantQp) {
    const uint32_t scale = settings.codec == Codec::Av1 ? 5 : 1;
    options.emplace_back("qp", std::to_string(settings.qp * scale));
  }
  return options;
}

LavcOptionList VaApiOptions(const EncoderSettings& settings) {
  static constexpr std::array<const char*, 3> kModes = {"CBR", "VBR", "CQP"};
  LavcOptionList options = {{"rc_mode", kModes[static_cast<size_t>(settings.rate_control)]},
                            {"idr_interval", "0"},
                            {"async_depth", settings.low_latency ? "1" : "2"}};
  if (settings.rate_control == RateControl::ConstantQp && settings.codec != Codec::Av1) {
    options.emplace_back("qp", std::to_string(settings.qp));
  }
  return options;
}

void FillRate(LavcKind kind, const EncoderSettings& settings, AVCodecContext& context) {
  if (settings.rate_control == RateControl::ConstantQp) {
    if (kind == LavcKind::VaApi && settings.codec == Codec::Av1) {
      context.global_quality = static_cast<int>(settings.qp * 5);
    }
    if (kind == LavcKind::Software && settings.codec == Codec::Av1) {
      context.qmin = context.qmax = static_cast<int>(AomQuantizer(settings.qp));
    }
    return;
  }
  constexpr int64_t kBitsPerKilobit = 1000;
  const int64_t rate = settings.bitrate_kbps * kBitsPerKilobit;
  const int64_t ceiling = settings.rate_control == RateControl::Cbr
                              ? rate
                              : settings.max_bitrate_kbps * kBitsPerKilobit;
  context.bit_rate = rate;
  context.rc_buffer_size =
      static_cast<int>(std::min<int64_t>(ceiling, std::numeric_limits<int>::max()));
  context.rc_max_rate = ceiling;
  if (settings.rate_control == RateControl::Cbr) context.rc_min_rate = rate;
}

void FillColour(const EncoderSettings& settings, AVCodecContext& context) {
  context.color_primaries =
      settings.colour_primaries == ColourPrimaries::Bt2020 ? AVCOL_PRI_BT2020 : AVCOL_PRI_BT709;
  switch (settings.transfer) {
    case Transfer::Bt709: context.color_trc = AVCOL_TRC_BT709; break;
    case Transfer::Pq: context.color_trc = AVCOL_TRC_SMPTE2084; break;
    case Transfer::Hlg: context.color_trc = AVCOL_TRC_ARIB_STD_B67; break;
  }
  context.colorspace =
      settings.matrix == ColourMatrix::Bt2020 ? AVCOL_SPC_BT2020_NCL : AVCOL_SPC_BT709;
  context.color_range = settings.full_range ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  // Converters take chroma from the middle of its four luma pixels, for which AV1
  // has no word.
  if (settings.codec != Codec::Av1) context.chroma_sample_location = AVCHROMA_LOC_CENTER;
}

}  // namespace

std::string LavcEncoderName(LavcKind kind, Codec codec) {
  const std::string word(CodecWord(codec));
  switch (kind) {
    case LavcKind::Nvenc: return word + "_nvenc";
    case LavcKind::VaApi: return word + "_vaapi";
    case LavcKind::Software: break;
  }
  switch (codec) {
    case Codec::H264: return "libx264";
    case Codec::Hevc: return "libx265";
    case Codec::Av1: return "libaom-av1";
  }
  return {};
}

std::vector<EncoderPreset> LavcPresets(LavcKind kind, Codec codec) {
  switch (kind) {
    case LavcKind::Nvenc: return NvencPresets(codec);
    case LavcKind::VaApi: return {};
    case LavcKind::Software: return codec == Codec::Av1 ? NumberPresets() : WordPresets(codec);
  }
  return {};
}

Status EffectiveSettings(LavcKind kind, const EncoderSettings& wanted, EncoderSettings& out) {
  const auto bad_side = [](uint32_t side) { return side == 0 || side % 2 != 0 || side > kMaxSide; };
  if (bad_side(wanted.width) || bad_side(wanted.height)) {
    return {StatusCode::InvalidArgument,
            Format("cannot encode pictures of %ux%u", wanted.width, wanted.height)};
  }
  if (wanted.fps_num > 1'000'000 || wanted.fps_den > 1'000'000) {
    return {StatusCode::InvalidArgument,
            Format("cannot encode %u/%u frames a second", wanted.fps_num, wanted.fps_den)};
  }
  if (static_cast<uint32_t>(wanted.codec) >= kCodecCount) {
    return {StatusCode::InvalidArgument, "unknown codec"};
  }
  if (wanted.input_format != EncoderInput::Nv12 && wanted.input_format != EncoderInput::P010) {
    return {StatusCode::Unsupported, "pictures must come as NV12 or P010"};
  }
  if (Status status = CardSettings(wanted, out); !status.ok()) return status;
  out.b_frames = 0;
  out.split_encode = SplitEncode::Off;
  if (kind == LavcKind::Software) {
    // 0 means lossless to x264, in a profile that few players know.
    out.qp = std::max(out.qp, 1U);
  }
  ChoosePreset(LavcEncoderName(kind, out.codec), LavcPresets(kind, out.codec),
               DefaultPreset(kind, out.codec), out);
  return Status::Ok();
}

AVPixelFormat LavcInputFormat(LavcKind kind, const EncoderSettings& settings) {
  const bool ten_bit = settings.input_format == EncoderInput::P010;
  if (kind == LavcKind::Software && settings.codec != Codec::H264) {
    return ten_bit ? AV_PIX_FMT_YUV420P10LE : AV_PIX_FMT_YUV420P;
  }
  return ten_bit ? AV_PIX_FMT_P010LE : AV_PIX_FMT_NV12;
}

void FillContext(LavcKind kind, const EncoderSettings& settings, AVCodecContext& context) {
  const auto fps_num = static_cast<int>(settings.fps_num);
  const auto fps_den = static_cast<int>(settings.fps_den);
  context.width = static_cast<int>(settings.width);
  context.height = static_cast<int>(settings.height);
  // Frames are numbered, and their times kept outside: rate control then sees a
  // steady rate, and times come back exactly as they went in.
  context.time_base = {fps_den, fps_num};
  context.framerate = {fps_num, fps_den};
  context.gop_size = GopSize(settings);
  context.keyint_min = context.gop_size;
  context.max_b_frames = 0;
  context.flags |= AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_CLOSED_GOP;
  if (kind == LavcKind::Software) context.thread_count = SoftwareThreads();
  FillRate(kind, settings, context);
  FillColour(settings, context);
}

LavcOptionList LavcOptions(LavcKind kind, const EncoderSettings& settings) {
  switch (kind) {
    case LavcKind::Nvenc: return NvencOptions(settings);
    case LavcKind::VaApi: return VaApiOptions(settings);
    case LavcKind::Software: return SoftwareOptions(settings);
  }
  return {};
}

}  // namespace orventa
