#include "sound/sound_clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>

#include "base/clock.h"

namespace orventa {
namespace {

constexpr uint64_t kStartNs = 1000 * kNsPerSecond;

// A device that plays one long signal, in packets, by a clock of its own.
class Device {
 public:
  Device(SoundClock& clock, uint32_t rate, double ppm = 0) : clock_(clock), rate_(rate) {
    Drift(ppm);
  }
  // From now on.
  void Drift(double ppm) {
    const uint64_t now_ns = TimeOf(frame);
    ns_a_frame_ = 1e9 / (rate_ * (1 + ppm * 1e-6));
    start_ns += now_ns - TimeOf(frame);
  }

  // The sample of a frame, the same left, its half right.
  std::function<float(uint64_t)> signal = [](uint64_t) { return 0.0F; };

  uint64_t TimeOf(uint64_t at) const {
    return start_ns + static_cast<uint64_t>(std::llround(static_cast<double>(at) * ns_a_frame_));
  }
  void Play(uint32_t ms, int64_t shift_ns = 0, uint32_t packet_ms = 10) {
    const uint32_t count = rate_ / 1000 * packet_ms + rate_ % 1000 * packet_ms / 1000;
    for (uint32_t done = 0; done < ms; done += packet_ms) {
      packet_.clear();
      for (uint64_t i = frame; i < frame + count; ++i) {
        packet_.push_back(signal(i));
        packet_.push_back(signal(i) / 2);
      }
      clock_.Push(packet_, TimeOf(frame) + static_cast<uint64_t>(shift_ns));
      frame += count;
    }
  }

  uint64_t frame = 0;  // the next one
  uint64_t start_ns = kStartNs;

 private:
  SoundClock& clock_;
  const uint32_t rate_;
  double ns_a_frame_ = 0;
  std::vector<float> packet_;
};

std::vector<int16_t> Pull(SoundClock& clock, uint64_t until_ns) {
  std::vector<int16_t> out;
  clock.Pull(until_ns, out);
  return out;
}

std::function<float(uint64_t)> Sine(double hz, double rate) {
  return [=](uint64_t i) {
    return static_cast<float>(0.5 *
                              std::sin(2 * std::numbers::pi * hz * static_cast<double>(i) / rate));
  };
}

TEST(SoundClockTest, EqualRatesReproduceWhatThePassbandHolds) {
  SoundClock clock(48000, 48000);
  Device device(clock, 48000);
  device.signal = Sine(5000, 48000);
  device.Play(1000);
  const auto out = Pull(clock, kStartNs + 900 * kNsPerMs);
  ASSERT_EQ(out.size(), 2U * 43200);
  EXPECT_TRUE(Pull(clock, kStartNs + 900 * kNsPerMs).empty());
  for (size_t i = 16; i < 43200; ++i) {
    ASSERT_NEAR(out[2 * i], 32767 * device.signal(i), 3) << i;
    ASSERT_NEAR(out[2 * i + 1], 32767 * device.signal(i) / 2, 3) << i;
  }
}

TEST(SoundClockTest, VectorKernelsAgreeWithPortableOnes) {
  if (BestInstructions() == Instructions::Portable) GTEST_SKIP() << "no vector instructions";
  SoundClock portable(48000, 44100, Instructions::Portable);
  SoundClock vector(48000, 44100, BestInstructions());
  std::vector<int16_t> expected;
  std::vector<int16_t> got;
  for (SoundClock* clock : {&portable, &vector}) {
    Device device(*clock, 44100, 37);
    device.signal = [](uint64_t i) {  // noise that also clips
      return static_cast<float>((i * 2654435761U >> 7) % 4096) / 1500 - 1.3F;
    };
    auto& out = clock == &portable ? expected : got;
    for (int i = 1; i <= 50; ++i) {
      device.Play(40);
      clock->Pull(kStartNs + static_cast<uint64_t>(i) * 40 * kNsPerMs, out);  // to the very edge
    }
  }
  ASSERT_EQ(expected.size(), got.size());
  for (size_t i = 0; i < got.size(); ++i) ASSERT_NEAR(expected[i], got[i], 1) << i;
}

TEST(SoundClockTest, ClocksOfDevicesAreFollowedWithinReason) {
  struct Case {
    double ppm;
    double slope_ppm;  // by which the fit differs from the nominal one
  };
  for (const Case& row : {Case{0, 0}, Case{500, -499.75}, Case{-1900, 1903.6}, Case{3000, 0}}) {
    SoundClock clock(48000, 44100);
    clock.SetOrigin(kStartNs, 0);
    Device device(clock, 44100, row.ppm);
    std::vector<int16_t> out;
    for (uint64_t ms = 100; ms <= 10'000; ms += 100) {
      device.Play(100);
      clock.Pull(kStartNs + ms * kNsPerMs, out);
    }
    EXPECT_EQ(out.size(), 2U * 480'000) << row.ppm;
    EXPECT_NEAR((clock.slope() / (1e9 / 44100) - 1) * 1e6, row.slope_ppm, 2) << row.ppm;
  }
}

// Where the loudest sample of the output lies, in frames.
size_t Loudest(const std::vector<int16_t>& out) {
  return static_cast<size_t>(std::max_element(out.begin(), out.end()) - out.begin()) / 2;
}

TEST(SoundClockTest, AnHourOfADriftingClockStaysInStep) {
  constexpr uint32_t kRate = 2000;
  constexpr uint64_t kApart = uint64_t{kRate} * 600;  // a click every ten minutes
  SoundClock clock(kRate, kRate);
  clock.SetOrigin(kStartNs, 0);
  Device device(clock, kRate, 200);
  device.signal = [](uint64_t i) { return i % kApart == kApart / 2 ? 1.0F : 0.0F; };
  std::vector<int16_t> out;
  uint64_t pulled = 0;
  for (uint64_t clicks = 0; clicks < 6;) {
    device.Play(100, 0, 100);
    out.clear();
    clock.Pull(device.TimeOf(device.frame) - 50 * kNsPerMs, out);
    if (const size_t at = Loudest(out); !out.empty() && out[2 * at] > 8000) {
      const uint64_t true_ns = device.TimeOf(kApart / 2 + clicks * kApart) - kStartNs;
      const double heard_ms = static_cast<double>(pulled + at) * 1000 / kRate;
      EXPECT_NEAR(heard_ms, static_cast<double>(true_ns) * 1e-6, 0.6) << clicks;
      ++clicks;
    }
    pulled += out.size() / 2;
  }
  const auto slope_ppm = [&] { return (clock.slope() * kRate / 1e9 - 1) * 1e6; };
  EXPECT_NEAR(slope_ppm(), -199.96, 0.01);
  device.Drift(-300);
  device.Play(9000);
  EXPECT_NEAR(slope_ppm(), 300.09, 0.01) << "what is older than 8 seconds is forgotten";
  EXPECT_EQ(clock.frames_inserted() + clock.frames_dropped(), 0U);
}

TEST(SoundClockTest, GapsBecomeSilenceOfTheirLength) {
  struct Case {
    uint64_t gap_ms;
    uint64_t inserted;
  };
  // Up to 20 ms is jitter, above a second the timeline begins anew.
  for (const Case& row : {Case{19, 0}, Case{300, 14400}, Case{1000, 48000}, Case{2000, 0}}) {
    SoundClock clock(48000, 48000);
    Device device(clock, 48000);
    device.signal = [](uint64_t i) { return i == 144'000 ? 1.0F : 0.0F; };
    device.Play(3000);
    device.start_ns += row.gap_ms * kNsPerMs;
    device.Play(200);
    EXPECT_EQ(clock.frames_inserted(), row.inserted) << row.gap_ms;
    if (row.gap_ms < 20) continue;
    // The first frame after the gap is heard where it belongs.
    clock.SetOrigin(kStartNs, 0);
    const auto out = Pull(clock, kStartNs + (3100 + row.gap_ms) * kNsPerMs);
    EXPECT_EQ(Loudest(out), 144'000 + row.gap_ms * 48) << row.gap_ms;
  }
}

TEST(SoundClockTest, EarlyPacketsAreBelievedAtTheFiftieth) {
  SoundClock clock(48000, 48000);
  Device device(clock, 48000, 100);
  device.Play(4000);
  const double slope = clock.slope();
  ASSERT_NE(slope, 1e9 / 48000);
  device.Play(490, -30 * static_cast<int64_t>(kNsPerMs));
  EXPECT_EQ(clock.slope(), slope);
  device.Play(10);  // on time again: the count begins anew
  device.Play(490, -30 * static_cast<int64_t>(kNsPerMs));
  EXPECT_NEAR(clock.slope(), slope, slope * 1e-7);
  device.Play(10, -30 * static_cast<int64_t>(kNsPerMs));
  EXPECT_EQ(clock.slope(), 1e9 / 48000);
}

TEST(SoundClockTest, HoldsTenSecondsAndGoesOnAtAnotherRate) {
  SoundClock clock(48000, 48000);
  Device device(clock, 48000);
  device.Play(11'000);
  EXPECT_EQ(clock.frames_dropped(), 48'000U);
  // What is held begins a second later now, and with it the output.
  EXPECT_EQ(Pull(clock, kStartNs + 2000 * kNsPerMs).size(), 2U * 48'000);

  clock.ResetInput(44100);
  Device other(clock, 44100);
  other.start_ns += 3000 * kNsPerMs;
  other.signal = [](uint64_t) { return 0.5F; };
  other.Play(1000);
  const auto out = Pull(clock, kStartNs + 3500 * kNsPerMs);
  ASSERT_EQ(out.size(), 2U * 72'000);
  EXPECT_EQ(out[2 * 47'900], 0);
  EXPECT_EQ(out[2 * 48'100], 16384);
}

TEST(SoundClockTest, WithoutTimesThereIsSilence) {
  SoundClock clock(48000, 48000);
  clock.Push(std::vector<float>(960, 0.5F), 0);
  EXPECT_TRUE(Pull(clock, kStartNs).empty());
  clock.SetOrigin(kStartNs, 10);
  const auto out = Pull(clock, kStartNs + kNsPerMs);
  EXPECT_EQ(out, std::vector<int16_t>(2 * 38));
}

}  // namespace
}  // namespace orventa
