#include "service/first_run.h"

#include <memory>
#include <optional>
#include <string>

#include "base/log.h"
#include "video/engine_platform.h"

namespace orventa {
namespace {

const CodecMeans& MeansOf(const MachineCodecs& codecs, Codec codec) {
  return codecs.at(static_cast<size_t>(codec));
}

std::string Word(Codec codec) {
  return std::string(CodecWord(codec));
}

// Older ones first: what encodes a codec nearly always encodes those before it.
std::optional<Codec> NextCodec(const MachineCodecs& codecs, Codec wanted) {
  const auto first = static_cast<uint32_t>(wanted);
  for (uint32_t step = 1; step < kCodecCount; ++step) {
    const auto candidate =
        static_cast<Codec>(step <= first ? first - step : step);  // down to 0, then up
    if (MeansOf(codecs, candidate).encodes && MeansOf(codecs, candidate).fast) return candidate;
  }
  return std::nullopt;
}

bool TestCodec(const MachineCodecs& codecs, Config::Video& video) {
  const Config::Video before = video;
  if (!MeansOf(codecs, video.codec).encodes) {
    const std::optional<Codec> next = NextCodec(codecs, video.codec);
    if (!next) return false;
    LogWarning("codec: this GPU cannot encode %s, using %s", Word(video.codec).c_str(),
               Word(*next).c_str());
    video.codec = *next;
  }
  if ((video.ten_bit || video.hdr) && !MeansOf(codecs, video.codec).ten_bit) {
    LogInfo("codec: %s is 8-bit only here", Word(video.codec).c_str());
    video.ten_bit = false;
    video.hdr = false;
  }
  return !(video == before);
}

}  // namespace

MachineCodecs AskForCodecs(IGraphics& graphics, const BackendList& backends,
                           const std::string& adapter) {
  std::shared_ptr<GraphicsDevice> device;
  std::string used;
  const Status status = graphics.MakeDevice(adapter, device, used);
  if (!status.ok()) LogWarning("codec: %s", status.ToString().c_str());
  return FindMachineCodecs(backends, device.get());
}

void ChooseFirstRunCodec(const MachineCodecs& codecs, Config& config) {
  config.screenshot.hdr = true;
  for (const Codec codec : {Codec::Hevc, Codec::Av1}) {
    const CodecMeans& means = MeansOf(codecs, codec);
    if (!means.encodes || !means.fast || !means.plays) continue;
    for (Config::Video* video : {&config.video, &config.recording}) {
      video->codec = codec;
      video->ten_bit = means.ten_bit;
      video->hdr = means.ten_bit;
    }
    LogInfo("first run: defaulting to %s, %s%s", Word(codec).c_str(),
            means.ten_bit ? "10-bit" : "8-bit", means.ten_bit ? ", hdr" : "");
    return;
  }
  LogInfo("first run: keeping h264, nothing newer both records and plays here");
}

bool TestCodecs(const MachineCodecs& codecs, Config& config) {
  const bool video_changed = TestCodec(codecs, config.video);
  const bool recording_changed = TestCodec(codecs, config.recording);
  return video_changed || recording_changed;
}

}  // namespace orventa
