#include "video/audio_replay_buffer.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/history/packets.h"

namespace orventa {
namespace {

constexpr uint64_t kMs = 1'000'000;

// Packets of 20 ms and 50 bytes.
void AppendSound(AudioReplayBuffer& sound, uint64_t start, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) sound.Append(MakePacket(start + i * 20 * kMs, true, 50));
}

std::vector<uint64_t> AllTimes(const AudioReplayBuffer& sound) {
  std::vector<BufferedPacket> packets;
  sound.Span(0, UINT64_MAX, packets);
  return TimesOf(packets);
}

TEST(AudioReplayBuffer, KeepsItsWindowAndItsBudget) {
  AudioReplayBuffer sound;
  EXPECT_EQ(sound.EndTime(), 0U);
  sound.Configure(1, 0);
  AppendSound(sound, 0, 200);  // the last at 3980 ms
  EXPECT_EQ(AllTimes(sound).front(), 2980 * kMs);
  EXPECT_EQ(sound.EndTime(), 4000 * kMs);
  EXPECT_EQ(sound.PacketsEvicted(), 149U);
  sound.Configure(1, 500);
  EXPECT_EQ(AllTimes(sound).size(), 10U);
  sound.Configure(0, 1);  // one packet stays, whatever its size
  EXPECT_EQ(AllTimes(sound), (std::vector<uint64_t>{3980 * kMs}));
  EXPECT_EQ(sound.EndTime(), 3980 * kMs);
  sound.Clear();
  EXPECT_EQ(sound.EndTime(), 0U);
  EXPECT_TRUE(AllTimes(sound).empty());
}

TEST(AudioReplayBuffer, SpanTakesWhatOverlaps) {
  AudioReplayBuffer sound;
  AppendSound(sound, 1000 * kMs, 5);
  AppendSound(sound, 2000 * kMs, 2);  // the packet before the hole lasts through it
  struct Case {
    uint64_t from, to;  // ms
    std::vector<uint64_t> expected;
  };
  const std::vector<Case> cases = {
      {0, 1000, {}},
      {0, 1001, {1000}},
      {1000, 1040, {1000, 1020}},
      {1019, 1021, {1000, 1020}},
      {1020, 1021, {1020}},
      {1500, 2010, {1080, 2000}},
      {2039, 9999, {2020}},
      {2040, 9999, {}},
      {1040, 1040, {}},
  };
  for (const Case& c : cases) {
    std::vector<BufferedPacket> packets;
    EXPECT_EQ(sound.Span(c.from * kMs, c.to * kMs, packets), !c.expected.empty()) << c.from;
    std::vector<uint64_t> times = TimesOf(packets);
    for (uint64_t& time : times) time /= kMs;
    EXPECT_EQ(times, c.expected) << c.from << " to " << c.to;
  }
}

TEST(AudioReplayBuffer, FillsGapsWithWholePackets) {
  const Payload silence = PatternPayload(1, 9);
  for (const uint32_t rate : {48'000U, 44'100U}) {
    const double frame = 1024e9 / rate;
    for (uint64_t gap_ms = 0; gap_ms < 5000; gap_ms += 7) {
      AudioReplayBuffer sound;
      AppendSound(sound, 10 * kSecond, 5);
      const uint64_t end = 10'100 * kMs;
      const uint64_t filled = sound.FillGap(end + gap_ms * kMs, silence, rate);
      const auto expected =
          static_cast<uint64_t>(std::floor(static_cast<double>(gap_ms) * 1e6 / frame + 0.5));
      ASSERT_EQ(filled, expected) << gap_ms << " ms at " << rate;
      const std::vector<uint64_t> times = AllTimes(sound);
      ASSERT_EQ(times.size(), 5 + filled);
      for (uint64_t k = 0; k < filled; ++k) {
        ASSERT_NEAR(static_cast<double>(times[5 + k] - end), static_cast<double>(k) * frame, 1.0);
      }
    }
  }
}

TEST(AudioReplayBuffer, DoesNotFillWhatIsNoGap) {
  const Payload silence = PatternPayload(1, 9);
  AudioReplayBuffer sound;
  EXPECT_EQ(sound.FillGap(kSecond, silence, 48'000), 0U);
  sound.Configure(10, 0);
  AppendSound(sound, 0, 5);
  EXPECT_EQ(sound.FillGap(50 * kMs, silence, 48'000), 0U);
  EXPECT_EQ(sound.FillGap(kSecond, Payload(), 48'000), 0U);
  EXPECT_EQ(sound.FillGap(kSecond, silence, 0), 0U);
  EXPECT_EQ(AllTimes(sound).size(), 5U);
  // The window is 10 s and the sound ends at 100 ms.
  EXPECT_EQ(sound.FillGap(10'100 * kMs, silence, 48'000), 469U);
  EXPECT_EQ(sound.FillGap(3600 * kSecond, silence, 48'000), 0U);
  EXPECT_TRUE(AllTimes(sound).empty());
}

}  // namespace
}  // namespace orventa
