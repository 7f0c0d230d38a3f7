// Opening a clip of four hours: 864,000 pictures at 60 frames a second, each a
// record of its own; and the same with a sound track of 675,000 frames beside it.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "base/clock.h"
#include "benchmarks/bench.h"
#include "mp4/mp4.h"
#include "mp4/reader.h"

namespace orventa::bench {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kHours = 4;
constexpr uint64_t kFps = 60;
constexpr uint64_t kSoundRate = 48000;
constexpr uint64_t kFrameSamples = 1024;
constexpr int kRounds = 15;

[[noreturn]] void Fail(const std::string& why) {
  std::fprintf(stderr, "bench: %s\n", why.c_str());
  std::exit(1);
}

// Packets of 20 to 60 bytes, so that sizes differ as they do in life.
class SmallPayloads : public IDeferredPayloads {
 public:
  Payload Read(uint64_t index) override {
    Payload payload = Payload::Allocate(Size(index));
    for (uint8_t& byte : payload.mutable_bytes()) byte = 0x65;
    return payload;
  }
  uint64_t Size(uint64_t index) const override { return 20 + index * 7 % 41; }
};

std::vector<BufferedPacket> Packets(uint64_t count, uint64_t units_each, uint64_t units_a_second,
                                    const std::shared_ptr<IDeferredPayloads>& payloads) {
  std::vector<BufferedPacket> packets(count);
  for (uint64_t i = 0; i < count; ++i) {
    packets[i].pts = packets[i].dts = i * units_each * kNsPerSecond / units_a_second;
    packets[i].keyframe = i % 120 == 0;
    packets[i].deferred = payloads;
    packets[i].deferred_index = i;
  }
  return packets;
}

enum class Sound { Without, With };

void WriteClip(const std::string& path, Sound with_sound) {
  const auto payloads = std::make_shared<SmallPayloads>();
  Mp4Movie movie;
  movie.video.width = 1920;
  movie.video.height = 1080;
  movie.video.fps_num = kFps;
  movie.video.length_prefixed = true;
  movie.video.sequence_header = {0, 0, 0, 1, 0x67, 0x64, 0, 0x2A, 0xAC, 0, 0, 0, 1, 0x68, 0xEE};
  movie.packets = Packets(kHours * 3600 * kFps, 1, kFps, payloads);
  Mp4SoundTrack sound;
  sound.format.config = {0x11, 0x90};
  sound.packets =
      Packets(kHours * 3600 * kSoundRate / kFrameSamples, kFrameSamples, kSoundRate, payloads);
  if (with_sound == Sound::With) movie.sound.push_back(std::move(sound));
  const Status status = WriteMp4(path, movie);
  if (!status.ok()) Fail(status.ToString());
}

double MedianOpenMs(Sound with_sound) {
  const std::string path = (fs::current_path() / "reader-bench.mp4").string();
  WriteClip(path, with_sound);
  std::vector<double> times;
  for (int round = 0; round < kRounds; ++round) {
    Mp4Reader reader;
    const double began = Seconds();
    const Status status = reader.Open(path);
    times.push_back((Seconds() - began) * 1000);
    if (!status.ok()) Fail(status.ToString());
    if (reader.contents().video.samples.size() != kHours * 3600 * kFps) Fail("samples are missing");
  }
  fs::remove(path);
  return Median(times);
}

std::vector<Row> MeasureOpen() {
  return {{"reader.open_ms", MedianOpenMs(Sound::Without)},
          {"reader.open_with_sound_ms", MedianOpenMs(Sound::With)}};
}

const Register kOpen("reader", MeasureOpen);

}  // namespace
}  // namespace orventa::bench
