// Downmix, the microphone's gate, silence, and who started whom.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "base/clock.h"
#include "base/instance.h"
#include "sound/downmix.h"
#include "sound/gate.h"
#include "sound/process_table.h"
#include "sound/silent_capture.h"

namespace orventa {
namespace {

TEST(DownmixTest, SpeakersGoWhereTheyStand) {
  constexpr float kHalf = 0.70710678F;
  struct Case {
    uint32_t channels;
    uint32_t mask;
    std::vector<float> frame;
    float left;
    float right;
  };
  const std::vector<Case> cases = {
      {1, 0x4, {0.5F}, 0.5F, 0.5F},
      {2, 0x3, {0.25F, -0.5F}, 0.25F, -0.5F},
      // No mask: front left, right, centre, back left, right; with one, low frequency
      // and the sides as well.
      {5, 0, {0.25F, 0, 0, 0.25F, 0}, 0.25F + kHalf / 4, 0},
      {5, 0, {0, 0, 0.5F, 0, 0.25F}, kHalf / 2, kHalf / 2 + kHalf / 4},
      {6, 0x60F, {0, 0, 0, 1, 0.5F, 0}, kHalf / 2, 0},
      {8, 0x4, {0, 0, 0, 1, 0, 0.5F, 0, 0.5F}, 0, kHalf},
      {3, 0x40004 | 0x8000, {0.5F, 0.25F, 1}, kHalf * 0.75F, kHalf * 0.5F},  // one unknown
      {4, 0, {1, 0, 1, 0}, 1, 0},                                            // clipped
      {9, 0, {0, 0, 0, 0, 0, 0, 0, 0, 1}, 0, 0},
      {2, 3, {std::numeric_limits<float>::quiet_NaN(), -INFINITY}, 0, -1},
  };
  for (size_t i = 0; i < cases.size(); ++i) {
    const Case& row = cases[i];
    const Downmix downmix(SampleKind::Float32, row.channels, row.mask);
    ASSERT_EQ(downmix.FrameBytes(), row.frame.size() * sizeof(float));
    float out[2] = {};
    downmix.Run(row.frame.data(), 1, out);
    EXPECT_FLOAT_EQ(out[0], row.left) << i;
    EXPECT_FLOAT_EQ(out[1], row.right) << i;
  }
  const int16_t words[] = {-32768, 16384};
  float out[2] = {};
  Downmix(SampleKind::Int16, 2, 3).Run(words, 1, out);
  EXPECT_EQ(out[0], -1);
  EXPECT_EQ(out[1], 0.5F);
}

// Runs the gate over so many ms of one level; returns the last sample of 10000.
int16_t Feed(MicrophoneGate& gate, double ms, int16_t level) {
  const auto samples = 2 * static_cast<size_t>(std::lround(ms * 48));
  const std::vector<int16_t> detect(samples, level);
  std::vector<int16_t> target(samples, 10000);
  gate.Run(detect, target);
  return target.back();
}

TEST(MicrophoneGateTest, KeyOpensAndLetsGoSlowly) {
  MicrophoneGate gate;
  gate.SetUp(true, false, -40, 48000);
  EXPECT_EQ(Feed(gate, 1000, 30000), 0);
  EXPECT_FALSE(gate.last_open());
  gate.SetHeld(true);
  EXPECT_NEAR(Feed(gate, 1.5, 0), 5000, 40);
  EXPECT_EQ(Feed(gate, 1.6, 0), 10000);
  gate.SetHeld(false);
  EXPECT_EQ(Feed(gate, 199.9, 0), 10000);
  EXPECT_TRUE(gate.last_open());
  EXPECT_NEAR(Feed(gate, 60.1, 0), 5000, 20);
  EXPECT_FALSE(gate.last_open());
  // Another set-up does not touch the gain; with nothing to do it goes to 1.
  gate.SetUp(false, false, 0, 0);
  EXPECT_NEAR(gate.gain(), 0.5F, 0.01F);
  EXPECT_EQ(Feed(gate, 2, 0), 10000);
}

TEST(MicrophoneGateTest, LevelOpensAndHolds) {
  MicrophoneGate gate;
  gate.SetUp(false, true, -40, 48000);  // opens at 328, closes below 164
  EXPECT_EQ(Feed(gate, 100, 327), 0);
  EXPECT_EQ(Feed(gate, 10, -328), 10000);
  EXPECT_EQ(Feed(gate, 1000, 164), 10000);  // between the levels
  EXPECT_EQ(Feed(gate, 250, 163), 10000);
  EXPECT_LT(Feed(gate, 1, 163), 10000);
  EXPECT_EQ(Feed(gate, 120, 300), 0);  // closed: the lower level is not enough

  MicrophoneGate shut;  // full scale is out of the reach of a positive sample
  shut.SetUp(false, true, 0, 48000);
  EXPECT_EQ(Feed(shut, 100, 32767), 0);
  MicrophoneGate off;
  off.SetUp(false, false, 0, 48000);
  EXPECT_EQ(Feed(off, 1, 0), 10000);
  EXPECT_TRUE(off.last_open());
}

TEST(SilentCaptureTest, GivesWhatLiesBefore) {
  SilentCapture silence({44100, 2});
  std::vector<int16_t> out;
  ASSERT_TRUE(silence.Read(kNsPerSecond, out).ok());
  EXPECT_TRUE(out.empty());
  silence.SetOrigin(kNsPerSecond, 100);
  ASSERT_TRUE(silence.Read(2 * kNsPerSecond, out).ok());
  EXPECT_EQ(out, std::vector<int16_t>(2 * 44000));
  ASSERT_TRUE(silence.Read(2 * kNsPerSecond, out).ok());
  EXPECT_EQ(out.size(), 2U * 44000);
}

TEST(ProcessTableTest, KnowsThisProcessAndItsParent) {
  const auto table = MakeProcessTable();
  ASSERT_TRUE(table->Refresh().ok());
  const auto self = table->Find(CurrentProcessId());
  ASSERT_TRUE(self.has_value());
  EXPECT_EQ(self->file_name.rfind("test_sound", 0), 0U) << self->file_name;
  EXPECT_NE(self->started, 0U);
  if (table->Find(self->parent_pid)) {  // it may have ended
    EXPECT_TRUE(IsAncestor(*table, self->parent_pid, CurrentProcessId()));
  }
  EXPECT_FALSE(IsAncestor(*table, CurrentProcessId(), self->parent_pid));
  EXPECT_FALSE(table->Find(0xFFFFFFF0).has_value());
}

}  // namespace
}  // namespace orventa
