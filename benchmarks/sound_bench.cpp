// Sound through its clock: how clean it comes out, and what that costs beside a
// library that resamples.
#include <soxr.h>

#include <cmath>
#include <ctime>
#include <functional>
#include <memory>
#include <numbers>
#include <stdexcept>
#include <vector>

#include "base/clock.h"
#include "benchmarks/bench.h"
#include "sound/sound_clock.h"

namespace orventa::bench {
namespace {

constexpr uint32_t kInput = 44100;
constexpr uint32_t kOutput = 48000;
constexpr size_t kPacket = kInput / 100;
constexpr uint64_t kStartNs = 1000 * kNsPerSecond;
constexpr int kRuns = 41;
constexpr int kSecondsARun = 10;

std::vector<float> Sine(double hz, size_t frames) {
  std::vector<float> sound;
  for (size_t i = 0; i < frames; ++i) {
    const double angle = 2 * std::numbers::pi * hz * static_cast<double>(i) / kInput;
    const auto sample = static_cast<float>(std::sin(angle));
    sound.insert(sound.end(), {sample, sample});
  }
  return sound;
}

// Feeds a second in packets, so often, and takes out what is due after each.
void Stream(SoundClock& clock, const std::vector<float>& second, int seconds,
            std::vector<int16_t>& out, bool keep) {
  uint64_t time_ns = kStartNs;
  for (int i = 0; i < 100 * seconds; ++i, time_ns += 10 * kNsPerMs) {
    if (!keep) out.clear();
    const size_t at = static_cast<size_t>(i % 100) * 2 * kPacket;
    clock.Push({second.data() + at, 2 * kPacket}, time_ns);
    clock.Pull(time_ns - 20 * kNsPerMs, out);
  }
}

// Against the sine itself, at full scale; 16 bits could give 98 dB.
double SnrDb(double hz) {
  SoundClock clock(kOutput, kInput);
  clock.SetOrigin(kStartNs, 0);
  std::vector<int16_t> out;
  Stream(clock, Sine(hz, kInput), 10, out, true);
  double signal = 0;
  double noise = 0;
  for (size_t i = kOutput / 10; i < out.size() / 2; ++i) {
    const double angle = 2 * std::numbers::pi * hz * static_cast<double>(i) / kOutput;
    const double ideal = 32767 * std::sin(angle);
    signal += ideal * ideal;
    noise += (out[2 * i] - ideal) * (out[2 * i] - ideal);
  }
  return 10 * std::log10(signal / noise);
}

// Processor time of a second of sound.
double MillisecondsASecond(const std::function<void()>& run) {
  const std::clock_t start = std::clock();
  run();
  return static_cast<double>(std::clock() - start) * 1e3 / CLOCKS_PER_SEC / kSecondsARun;
}

std::vector<Row> Sound() {
  const std::vector<float> second = Sine(1000, kInput);
  std::vector<int16_t> out;
  const auto ours = [&] {
    static SoundClock clock(kOutput, kInput);
    clock.ResetInput(kInput);
    clock.SetOrigin(kStartNs, 0);
    Stream(clock, second, kSecondsARun, out, false);
  };

  soxr_error_t error = nullptr;
  const soxr_io_spec_t form = soxr_io_spec(SOXR_FLOAT32_I, SOXR_INT16_I);
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_MQ, 0);
  const std::unique_ptr<soxr, decltype(&soxr_delete)> library(
      soxr_create(kInput, kOutput, 2, &error, &form, &quality, nullptr), soxr_delete);
  if (library == nullptr) throw std::runtime_error(soxr_strerror(error));
  std::vector<int16_t> theirs(4 * kPacket);
  const auto library_run = [&] {
    for (int i = 0; i < 100 * kSecondsARun; ++i) {
      const size_t at = static_cast<size_t>(i % 100) * 2 * kPacket;
      size_t taken = 0;
      size_t made = 0;
      soxr_process(library.get(), second.data() + at, kPacket, &taken, theirs.data(), 2 * kPacket,
                   &made);
      if (taken != kPacket) throw std::runtime_error("the library did not take it all");
    }
  };

  std::vector<double> our_ms;
  std::vector<double> their_ms;
  for (int run = 0; run < kRuns; ++run) {
    our_ms.push_back(MillisecondsASecond(ours));
    their_ms.push_back(MillisecondsASecond(library_run));
  }
  const double ours_each = Median(our_ms);
  return {{"sound.resample_snr_1k_db", SnrDb(1000)},
          {"sound.resample_snr_15k_db", SnrDb(15000)},
          {"sound.resample_second_ms", ours_each},
          {"sound.resample_vs_library", ours_each / Median(their_ms)}};
}

const Register kRegister("sound", Sound);

}  // namespace
}  // namespace orventa::bench
