// What a running recording adds to the replay: packets of 40 Mbit/s at their own pace
// through queue, thread and fragments to the drive, against the same pace without one.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "benchmarks/bench.h"
#include "video/active_recording.h"

namespace orventa::bench {
namespace {

constexpr uint32_t kFps = 60;
constexpr uint32_t kSeconds = 10;
constexpr size_t kPictureBytes = 40'000'000 / 8 / kFps;
constexpr uint64_t kSoundNs = 1024 * kNsPerSecond / 48000;
constexpr size_t kSoundBytes = 160'000 / 8 * 1024 / 48000;

Payload Noise(size_t size, std::initializer_list<uint8_t> begin) {
  std::mt19937 random(7);
  Payload payload = Payload::Allocate(size);
  for (uint8_t& byte : payload.mutable_bytes()) byte = static_cast<uint8_t>(random() | 1U);
  std::copy(begin.begin(), begin.end(), payload.mutable_bytes().begin());
  return payload;
}

Mp4VideoTrack Video() {
  Mp4VideoTrack video;
  video.width = 640;
  video.height = 360;
  // SPS and PPS of a baseline stream.
  video.sequence_header = {0,    0, 0, 1, 0x67, 0x42, 0xc0, 0x1f, 0xd9, 0,   0xa0, 0x2f, 0xf9, 0x70,
                           0x11, 0, 0, 3, 0,    1,    0,    0,    3,    0,   0x78, 0x0f, 0x18, 0x32,
                           0x48, 0, 0, 0, 1,    0x68, 0xcb, 0x83, 0xcb, 0x20};
  return video;
}

// Seconds of processor time that the pace takes, with a recording or without.
double Run(IClock& clock, ActiveRecording* recording) {
  const Payload key = Noise(kPictureBytes, {0, 0, 0, 1, 0x65});
  const Payload delta = Noise(kPictureBytes, {0, 0, 0, 1, 0x41});
  const Payload sound = Noise(kSoundBytes, {});
  const uint64_t begin_ns = clock.SteadyNs();
  const std::clock_t before = std::clock();
  uint64_t sound_pts = 0;
  for (uint32_t frame = 0; frame < kSeconds * kFps; ++frame) {
    const uint64_t pts = frame * (kNsPerSecond / kFps);
    clock.SleepUntil(begin_ns + pts);
    if (recording == nullptr) continue;
    const bool keyframe = frame % kFps == 0;
    const auto signed_pts = static_cast<int64_t>(pts);
    recording->TakeVideo({keyframe ? key : delta, signed_pts, signed_pts, keyframe});
    for (; sound_pts <= pts; sound_pts += kSoundNs) {
      const auto at = static_cast<int64_t>(sound_pts);
      for (size_t track : {0, 1}) recording->TakeSound(track, {sound, at, at, true}, kSoundNs);
    }
  }
  return static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
}

std::vector<Row> MeasureRecording() {
  const std::unique_ptr<IClock> clock = MakeSystemClock();
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / "orventa-bench-recording.mp4";
  const double without = Run(*clock, nullptr);
  double with = 0;
  Status result;
  {
    Mp4AudioTrack track;
    track.config = {0x11, 0x90};
    ActiveRecording::Plan plan;
    plan.path = path.string();
    plan.video = Video();
    plan.sound = {track, track};
    ActiveRecording recording(
        *clock, MachineRecordingDrive(), std::move(plan),
        [](uint64_t, uint64_t) { return TimelineMarks(); },
        [&](const Status& ended) { result = ended; });
    with = Run(*clock, &recording);
  }
  if (!result.ok() || std::filesystem::file_size(path) < kSeconds * kFps * kPictureBytes) {
    std::fprintf(stderr, "the recording failed: %s\n", result.ToString().c_str());
    std::exit(1);
  }
  std::filesystem::remove(path);
  return {{"recording.cpu_percent_of_core", 100 * (with - without) / kSeconds}};
}

const Register kRecording("recording", MeasureRecording);

}  // namespace
}  // namespace orventa::bench
