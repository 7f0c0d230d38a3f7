// How many frames a second the software encoders take at 1920x1080 with the
// settings that a fresh installation has, on content that pans and has grain.
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "base/status.h"
#include "benchmarks/bench.h"
#include "encoders/encoders.h"
#include "encoders/lavc/lavc.h"
#include "media/memory_picture.h"

namespace orventa::bench {
namespace {

constexpr uint32_t kWidth = 1920;
constexpr uint32_t kHeight = 1080;
constexpr uint32_t kPictures = 16;

class MemoryDevice final : public GraphicsDevice {
 public:
  const std::string& AdapterName() const override { return name_; }
  uint64_t AdapterKey() const override { return 0; }
  uint32_t RemovedReason() const override { return 0; }
  void Flush() override {}

 private:
  std::string name_;
};

void Check(const Status& status) {
  if (status.ok()) return;
  std::fprintf(stderr, "bench: %s\n", status.ToString().c_str());
  std::exit(1);
}

// A landscape of soft waves and hard edges that moves 8 pixels a frame, with grain.
std::vector<PictureRef> Pan() {
  std::vector<PictureRef> pictures;
  uint32_t grain = 1;
  for (uint32_t frame = 0; frame < kPictures; ++frame) {
    auto picture = MemoryPicture::Allocate(PixelFormat::Nv12, kWidth, kHeight);
    for (uint32_t y = 0; y < kHeight; ++y) {
      uint8_t* row = picture->plane(0).data + y * picture->plane(0).stride;
      for (uint32_t x = 0; x < kWidth; ++x) {
        const uint32_t u = x + 8 * frame;
        grain = grain * 1664525U + 1013904223U;
        const uint32_t waves = (u * u / 640 + y * 3) % 256 / 4 + (u ^ y) % 64 / 2;
        const uint32_t edge = ((u / 96 + y / 80) % 3) * 30;
        row[x] = static_cast<uint8_t>(20 + waves + edge + (grain >> 30U));
      }
    }
    for (uint32_t y = 0; y < kHeight / 2; ++y) {
      uint8_t* row = picture->plane(1).data + y * picture->plane(1).stride;
      for (uint32_t x = 0; x < kWidth; ++x) {
        row[x] = static_cast<uint8_t>(100 + ((x + 8 * frame) / 128 + y / 64) % 5 * 12);
      }
    }
    pictures.push_back(picture);
  }
  return pictures;
}

std::unique_ptr<IVideoEncoder> Open(Codec codec, const char* preset) {
  static MemoryDevice device;
  EncoderSettings settings;
  settings.codec = codec;
  settings.preset = preset;
  settings.width = kWidth;
  settings.height = kHeight;
  settings.bitrate_kbps = AutomaticBitrateKbps(kWidth, kHeight, 60, codec);
  settings.max_bitrate_kbps = settings.bitrate_kbps * 3 / 2;
  std::unique_ptr<IVideoEncoder> encoder;
  Check(LavcBackends().back()->Create(device, settings, encoder));
  return encoder;
}

void Collect(IVideoEncoder& encoder) {
  EncodedPacket packet;
  Status status;
  while (encoder.Collect(packet, status) == CollectResult::Packet) {
  }
  Check(status);
}

double FramesPerSecond(const std::vector<PictureRef>& pictures, Codec codec, const char* preset,
                       uint32_t frames) {
  const auto encoder = Open(codec, preset);
  const double start = Seconds();
  for (uint32_t i = 0; i < frames; ++i) {
    // To and fro, so that every step is one of 8 pixels.
    const uint32_t step = i % (2 * kPictures - 2);
    const uint32_t at = step < kPictures ? step : 2 * kPictures - 2 - step;
    Check(encoder->Submit({pictures[at], i * uint64_t{16'666'667}, false}));
    Collect(*encoder);
  }
  Check(encoder->Drain());
  Collect(*encoder);
  return frames / (Seconds() - start);
}

std::vector<Row> MeasureEncoders() {
  const auto pictures = Pan();
  return {
      {"encode.x264_1080p60_fps", FramesPerSecond(pictures, Codec::H264, "", 300)},
      {"encode.x264_superfast_1080p60_fps",
       FramesPerSecond(pictures, Codec::H264, "superfast", 120)},
      {"encode.x264_veryfast_1080p60_fps", FramesPerSecond(pictures, Codec::H264, "veryfast", 120)},
      {"encode.x265_1080p60_fps", FramesPerSecond(pictures, Codec::Hevc, "", 30)},
      {"encode.libaom_1080p60_fps", FramesPerSecond(pictures, Codec::Av1, "", 60)}};
}

const Register kRegistered("encode", MeasureEncoders);

}  // namespace
}  // namespace orventa::bench
