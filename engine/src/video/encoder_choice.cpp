#include "video/encoder_choice.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "encoders/encoders.h"

namespace orventa {
namespace {

constexpr uint32_t kUnknownBitrateKbps = 50'000;
constexpr uint32_t kAutomaticMaxPercent = 150;
constexpr float kNitsPerUnit = 80.0F;

uint32_t Even(uint64_t pixels) {
  return static_cast<uint32_t>(std::max<uint64_t>(2, pixels & ~uint64_t{1}));
}

uint64_t MemoryLimitBytes(const Config& config) {
  return uint64_t{config.replay.max_memory_mb} << 20U;
}

bool HasMemoryLimit(const Config& config) {
  return config.replay.max_memory_limited && config.replay.storage != ReplayStorage::Disk;
}

// The larger of the bitrates that replay and recordings would be encoded with.
uint32_t LargestBitrateKbps(const Config& config, PictureSize source) {
  if (source.width == 0) return kUnknownBitrateKbps;
  const uint32_t replay = BitrateKbps(config.video, source);
  return config.recording_use_video_settings
             ? replay
             : std::max(replay, BitrateKbps(config.recording, source));
}

uint64_t BudgetBytes(const Config& config, const BudgetBasis& basis) {
  if (HasMemoryLimit(config)) return MemoryLimitBytes(config);
  const uint32_t seconds = config.replay.duration_seconds;
  const uint64_t bytes = ReplayBudgetBytes(seconds, LargestBitrateKbps(config, basis.source));
  return basis.encoder_bitrate_kbps == 0
             ? bytes
             : std::max(bytes, ReplayBudgetBytes(seconds, basis.encoder_bitrate_kbps));
}

void SignalHdr10(const DisplayDescription& display, EncoderSettings& out) {
  out.colour_primaries = ColourPrimaries::Bt2020;
  out.transfer = Transfer::Pq;
  out.matrix = ColourMatrix::Bt2020;
  out.mastering.max_nits = display.peak * kNitsPerUnit;
  std::copy(std::begin(display.chromaticity), std::end(display.chromaticity),
            std::begin(out.mastering.chromaticity));
}

}  // namespace

PictureSize EncodedSize(PictureSize source, uint32_t wanted_height) {
  if (wanted_height == 0 || source.height == 0) return {Even(source.width), Even(source.height)};
  const uint32_t height = Even(wanted_height);
  // To the nearest even number rather than down, which keeps the shape closest.
  return {Even((uint64_t{source.width} * height + source.height) / source.height), height};
}

uint32_t BitrateKbps(const Config::Video& video, PictureSize source) {
  if (!video.bitrate_auto) return video.bitrate_kbps;
  const PictureSize size = EncodedSize(source, video.resolution);
  return AutomaticBitrateKbps(size.width, size.height, video.fps, video.codec);
}

bool WantsSplitEncode(Codec codec, PictureSize size, uint32_t fps) {
  // Seconds a frame costs one engine: a fixed part and one per million pixels.
  const double per_megapixel = codec == Codec::Av1 ? 0.000765 : 0.001007;
  const double fixed = codec == Codec::Av1 ? 0.000149 : 0.000272;
  const double megapixels = static_cast<double>(uint64_t{size.width} * size.height) / 1e6;
  return fps > 0.5 / (fixed + per_megapixel * megapixels);
}

EncoderSettings ChooseEncoderSettings(const Config& config, PictureSize source,
                                      const DisplayDescription& display) {
  const Config::Video& video = config.video;
  const PictureSize size = EncodedSize(source, video.resolution);
  const bool deep_codec = video.codec != Codec::H264;
  const bool hdr10 = video.hdr && display.hdr_on && deep_codec;

  EncoderSettings out;
  out.codec = video.codec;
  out.input_format =
      hdr10 || (video.ten_bit && deep_codec) ? EncoderInput::P010 : EncoderInput::Nv12;
  out.width = size.width;
  out.height = size.height;
  out.fps_num = std::max(1U, video.fps);
  out.rate_control = video.rate_control;
  out.bitrate_kbps = BitrateKbps(video, source);
  const uint32_t percent = video.bitrate_auto ? kAutomaticMaxPercent : video.max_bitrate_percent;
  out.max_bitrate_kbps = static_cast<uint32_t>(uint64_t{out.bitrate_kbps} * percent / 100);
  out.preset = video.PresetOf(video.codec);
  out.keyframe_seconds = video.keyframe_interval_seconds;
  out.adaptive_quantization = video.adaptive_quantization;
  out.split_encode = WantsSplitEncode(video.codec, size, video.fps) ? SplitEncode::AskedFor
                                                                    : SplitEncode::Automatic;
  if (hdr10) SignalHdr10(display, out);
  return out;
}

Mp4VideoTrack DescribeVideo(const EncoderSettings& settings, const DisplayDescription& display,
                            std::vector<uint8_t> header) {
  Mp4VideoTrack track;
  track.codec = static_cast<Mp4Codec>(settings.codec);
  track.width = settings.width;
  track.height = settings.height;
  track.fps_num = settings.fps_num;
  track.fps_den = settings.fps_den;
  track.bit_depth = settings.input_format == EncoderInput::P010 ? 1 : 0;
  track.primaries = static_cast<Mp4Primaries>(settings.colour_primaries);
  track.transfer = static_cast<Mp4Transfer>(settings.transfer);
  track.matrix = static_cast<Mp4Matrix>(settings.matrix);
  track.full_range = settings.full_range;
  track.mastering_max_nits = settings.mastering.max_nits;
  track.mastering_min_nits = settings.mastering.min_nits;
  track.max_cll = settings.mastering.max_cll;
  track.max_fall = settings.mastering.max_fall;
  std::copy(std::begin(settings.mastering.chromaticity), std::end(settings.mastering.chromaticity),
            std::begin(track.chromaticity));
  if (settings.transfer == Transfer::Pq) track.sdr_white_nits = display.sdr_white * kNitsPerUnit;
  track.sequence_header = std::move(header);
  return track;
}

ReplayBufferOptions HistoryOptions(const EffectiveSettings& settings, const BudgetBasis& basis,
                                   const std::string& disk_folder) {
  const Config& config = settings.config();
  ReplayBufferOptions options;
  options.seconds = settings.ReplaySeconds();
  options.elastic = !HasMemoryLimit(config);
  options.max_bytes = BudgetBytes(config, basis);
  if (settings.kept()) {
    options.max_bytes = std::max(options.max_bytes, BudgetBytes(*settings.kept(), basis));
  }
  if (config.replay.storage == ReplayStorage::Disk) options.directory = disk_folder;
  return options;
}

uint32_t ReplaySecondsWithinLimit(const EffectiveSettings& settings, const BudgetBasis& basis) {
  const Config& config = settings.config();
  const uint32_t seconds = settings.ReplaySeconds();
  if (!HasMemoryLimit(config)) return seconds;
  const uint32_t kbps = basis.encoder_bitrate_kbps != 0 ? basis.encoder_bitrate_kbps
                                                        : LargestBitrateKbps(config, basis.source);
  const uint64_t fitting = MemoryLimitBytes(config) / std::max<uint64_t>(1, uint64_t{kbps} * 125);
  return static_cast<uint32_t>(std::clamp<uint64_t>(fitting, 1, std::max(1U, seconds)));
}

}  // namespace orventa
