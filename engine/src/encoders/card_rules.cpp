#include "encoders/card_rules.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "base/log.h"
#include "base/text.h"

namespace orventa {
namespace {

constexpr uint32_t kMaxQp = 51;

uint32_t Clamped(uint64_t value) {
  return static_cast<uint32_t>(std::min<uint64_t>(value, std::numeric_limits<uint32_t>::max()));
}

}  // namespace

PixelFormat InputPictures(const EncoderSettings& settings) {
  switch (settings.input_format) {
    case EncoderInput::Nv12: break;
    case EncoderInput::P010: return PixelFormat::P010;
    case EncoderInput::Bgra: return PixelFormat::Bgra8;
  }
  return PixelFormat::Nv12;
}

Status CheckPicture(const Picture& picture, const EncoderSettings& settings) {
  if (picture.width() == settings.width && picture.height() == settings.height &&
      picture.format() == InputPictures(settings)) {
    return Status::Ok();
  }
  return {StatusCode::InvalidArgument,
          Format("the picture of %ux%u does not fit the encoder of %ux%u", picture.width(),
                 picture.height(), settings.width, settings.height)};
}

Status CardSettings(const EncoderSettings& wanted, EncoderSettings& out) {
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
  return Status::Ok();
}

Status PlainCardSettings(std::string_view encoder, const EncoderSettings& wanted,
                         EncoderSettings& out) {
  if (Status status = CardSettings(wanted, out); !status.ok()) return status;
  if (wanted.input_format == EncoderInput::Bgra) {
    return {StatusCode::Unsupported, "pictures must come as NV12 or P010"};
  }
  out.b_frames = 0;
  out.split_encode = SplitEncode::Automatic;
  ChoosePreset(encoder, SpeedPresets(), "balanced", out);
  return Status::Ok();
}

std::vector<EncoderPreset> SpeedPresets() {
  std::vector<EncoderPreset> presets;
  for (const Codec codec : {Codec::H264, Codec::Hevc, Codec::Av1}) {
    presets.push_back({codec, "speed", "fastest"});
    presets.push_back({codec, "balanced", "medium"});
    presets.push_back({codec, "quality", "slow, good quality"});
  }
  return presets;
}

size_t SpeedPresetIndex(std::string_view name) {
  if (name == "speed") return 0;
  return name == "quality" ? 2 : 1;
}

void ChoosePreset(std::string_view encoder, const std::vector<EncoderPreset>& presets,
                  std::string_view fallback, EncoderSettings& settings) {
  const bool known = std::any_of(presets.begin(), presets.end(), [&](const auto& preset) {
    return preset.name == settings.preset;
  });
  if (known) return;
  if (!settings.preset.empty()) {
    LogInfo("encoder: %s has no preset \"%s\"", std::string(encoder).c_str(),
            settings.preset.c_str());
  }
  settings.preset = fallback;
}

Status TryCodecs(std::string_view encoder, const OpensCodec& opens, std::vector<CodecCaps>& rows) {
  Status failure;
  const auto try_one = [&](Codec codec, EncoderInput input, CodecCaps& row) {
    EncoderSettings settings;
    settings.codec = codec;
    settings.input_format = input;
    settings.width = 640;
    settings.height = 360;
    settings.bitrate_kbps = 2000;
    settings.max_bitrate_kbps = 3000;
    Status status = PlainCardSettings(encoder, settings, settings);
    if (status.ok()) status = opens(settings, row);
    const bool opened = status.ok();
    if (failure.ok() && status.code() != StatusCode::Unsupported) failure = std::move(status);
    return opened;
  };
  for (const Codec codec : {Codec::H264, Codec::Hevc, Codec::Av1}) {
    CodecCaps row;
    row.codec = codec;
    if (!try_one(codec, EncoderInput::Nv12, row)) continue;
    const uint32_t usual = codec == Codec::H264 ? 4096 : 8192;
    if (row.max_width == 0) row.max_width = usual;
    if (row.max_height == 0) row.max_height = usual;
    CodecCaps unused;
    row.ten_bit = try_one(codec, EncoderInput::P010, unused);
    rows.push_back(row);
  }
  return rows.empty() ? failure : Status::Ok();
}

uint32_t KeyframeDistance(const EncoderSettings& settings) {
  const uint64_t frames =
      uint64_t{std::max(settings.keyframe_seconds, 1U)} * settings.fps_num + settings.fps_den / 2;
  return std::max(Clamped(frames / settings.fps_den), 1U);
}

uint32_t BitsPerSecond(uint32_t kbps) {
  return Clamped(uint64_t{kbps} * 1000);
}

uint32_t CodecQp(const EncoderSettings& settings) {
  return settings.codec == Codec::Av1 ? settings.qp * 5 : settings.qp;
}

ColourNumbers ColourNumbersOf(const EncoderSettings& settings) {
  static constexpr std::array<uint32_t, 3> kTransfers = {1, 16, 18};  // BT.709, PQ, HLG
  return {settings.colour_primaries == ColourPrimaries::Bt2020 ? 9U : 1U,
          kTransfers[static_cast<size_t>(settings.transfer)],
          settings.matrix == ColourMatrix::Bt2020 ? 9U : 1U};
}

uint32_t MasteringUnits(float value, float scale) {
  constexpr float kMost = 2'000'000'000.0F;
  return static_cast<uint32_t>(std::lround(std::clamp(value * scale, 0.0F, kMost)));
}

uint16_t ChromaticityUnits(float value, float scale) {
  return static_cast<uint16_t>(std::lround(std::clamp(value * scale, 0.0F, 65'535.0F)));
}

}  // namespace orventa
