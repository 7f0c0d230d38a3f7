#include <dlfcn.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "base/log.h"
#include "base/text.h"
#include "encoders/lavc/lavc.h"
#include "encoders/lavc/lavc_encoder.h"
#include "encoders/lavc/lavc_options.h"

extern "C" {
#include <libavutil/log.h>
}

namespace orventa {
namespace {

constexpr std::array<Codec, kCodecCount> kCodecs = {Codec::H264, Codec::Hevc, Codec::Av1};

bool Has(LavcKind kind, Codec codec) {
  return avcodec_find_encoder_by_name(LavcEncoderName(kind, codec).c_str()) != nullptr;
}

// Why a shared library does not load; empty when it does.
std::string LoadProblem(const char* name) {
  void* library = dlopen(name, RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) return std::string(name) + " does not load";
  dlclose(library);
  return {};
}

std::string NvencLoadProblem() {
  for (const char* name : {"libcuda.so.1", "libnvidia-encode.so.1"}) {
    if (std::string problem = LoadProblem(name); !problem.empty()) return problem;
  }
  return {};
}

// Limits that hold for the generations of hardware in use; what a certain chip
// refuses shows when it is opened.
CodecCaps TypicalCaps(LavcKind kind, Codec codec) {
  CodecCaps caps;
  caps.codec = codec;
  const bool small = codec == Codec::H264 && kind != LavcKind::Software;
  caps.max_width = small ? 4096 : 8192;
  caps.max_height = small ? 4096 : 8192;
  return caps;
}

class LavcBackend final : public IEncoderBackend {
 public:
  LavcBackend(LavcKind kind, std::string_view name) : kind_(kind), name_(name) {}

  std::string_view Name() const override { return name_; }

  std::string LoadMessage() const override {
    return kind_ == LavcKind::Nvenc ? NvencLoadProblem() : std::string();
  }

  bool UsesHardware() const override { return kind_ != LavcKind::Software; }

  bool Supports(const GraphicsDevice&) override {
    if (Capabilities().empty()) return false;
    switch (kind_) {
      case LavcKind::Nvenc: return NvencLoadProblem().empty();
      case LavcKind::VaApi: return !RenderNode().empty();
      case LavcKind::Software: return true;
    }
    return false;
  }

  Status Probe(GraphicsDevice& device, EncoderCaps& caps) override {
    caps = {};
    caps.name = std::string(name_);
    caps.device_name = device.AdapterName();
    for (const Codec codec : Capabilities()) {
      if (!Offers(codec, EncoderInput::Nv12)) continue;
      CodecCaps row = TypicalCaps(kind_, codec);
      row.ten_bit = codec != Codec::H264 && Offers(codec, EncoderInput::P010);
      caps.codecs.push_back(row);
    }
    return Status::Ok();
  }

  std::vector<Codec> Capabilities() const override {
    std::vector<Codec> codecs;
    for (const Codec codec : kCodecs) {
      if (Has(kind_, codec)) codecs.push_back(codec);
    }
    return codecs;
  }

  std::vector<EncoderPreset> Presets() const override {
    std::vector<EncoderPreset> presets;
    for (const Codec codec : Capabilities()) {
      for (EncoderPreset& preset : LavcPresets(kind_, codec)) presets.push_back(std::move(preset));
    }
    return presets;
  }

  Status Create(GraphicsDevice&, const EncoderSettings& settings,
                std::unique_ptr<IVideoEncoder>& encoder) override {
    return OpenLavcEncoder(kind_, settings, encoder);
  }

 private:
  // A card tells what it can do only when an encoder is opened on it. A library says
  // so itself; opening each would cost an idle service fifteen megabytes.
  bool Offers(Codec codec, EncoderInput input) const {
    EncoderSettings settings;
    settings.codec = codec;
    settings.input_format = input;
    return kind_ == LavcKind::Software ? LibraryTakes(settings) : Opens(settings);
  }

  bool LibraryTakes(const EncoderSettings& settings) const {
    const AVCodec* library =
        avcodec_find_encoder_by_name(LavcEncoderName(kind_, settings.codec).c_str());
    if (library == nullptr || library->pix_fmts == nullptr) return false;
    const AVPixelFormat wanted = LavcInputFormat(kind_, settings);
    const AVPixelFormat* format = library->pix_fmts;
    while (*format != AV_PIX_FMT_NONE && *format != wanted) ++format;
    return *format == wanted;
  }

  bool Opens(EncoderSettings settings) const {
    settings.width = 640;
    settings.height = 360;
    settings.bitrate_kbps = 2000;
    settings.max_bitrate_kbps = 3000;
    std::unique_ptr<IVideoEncoder> encoder;
    return OpenLavcEncoder(kind_, settings, encoder).ok();
  }

  const LavcKind kind_;
  const std::string_view name_;
};

void LogLine(void* context, int level, const char* format, va_list arguments) {
  if (level > AV_LOG_ERROR) return;
  std::array<char, 512> line{};
  int at_line_start = 1;
  av_log_format_line2(context, level, format, arguments, line.data(), static_cast<int>(line.size()),
                      &at_line_start);
  const std::string text(Trim(line.data()));
  if (!text.empty()) LogWarning("lavc: %s", text.c_str());
}

}  // namespace

BackendList LavcBackends() {
  static LavcBackend nvenc(LavcKind::Nvenc, "NVENC");
  static LavcBackend va_api(LavcKind::VaApi, "VA-API");
  static LavcBackend software(LavcKind::Software, "Software");
  av_log_set_callback(LogLine);
  return {&nvenc, &va_api, &software};
}

}  // namespace orventa
