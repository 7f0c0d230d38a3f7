#include "mp4/track_table.h"

#include <gtest/gtest.h>

#include <numeric>

#include "mp4/fixed_point.h"

namespace orventa {
namespace {

TEST(TrackTimes, TimescaleMakesFramesWhole) {
  const struct {
    uint32_t num, den, timescale;
  } kCases[] = {
      {60, 1, 90000},        {30, 1, 90000},       {144, 1, 90000},        {165, 1, 90090},
      {60000, 1001, 120000}, {24000, 1001, 96000}, {120000, 2002, 120000}, {0, 1, 90000},
      {60, 0, 90000},        {298262, 1, 90000},   {298261, 1, 298261},    {4294967295u, 1, 90000},
      {149131, 1, 149131},   {200000, 2, 100000},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(VideoTimescale(c.num, c.den), c.timescale) << c.num << "/" << c.den;
  }
}

TEST(TrackTimes, DurationsAddUpToTheWholeTime) {
  // 59.94 frames a second for three hours: each time is rounded to whole
  // nanoseconds, and yet the sum is what the last time says.
  const uint64_t first = 123'456'789;
  const auto time = [&](uint64_t frame) { return first + frame * 1001 * 1'000'000 / 60; };
  uint64_t sum = 0;
  const uint64_t frames = 3 * 3600 * 60;
  for (uint64_t i = 0; i < frames; ++i) {
    const uint32_t ticks = DurationBetween(first, time(i), time(i + 1), 90000);
    EXPECT_TRUE(ticks == 1501 || ticks == 1502);
    sum += ticks;
  }
  EXPECT_EQ(sum, (frames * 1001 * 90000 + 30000) / 60000);
}

TEST(TrackTimes, DurationsStayInTheirField) {
  EXPECT_EQ(DurationBetween(100, 200, 200, 90000), 1u);
  EXPECT_EQ(DurationBetween(100, 900'000'000, 300, 90000), 1u);
  EXPECT_EQ(DurationBetween(1'000'000'000, 5, 2'000'000'000, 90000), 90000u);
  EXPECT_EQ(DurationBetween(0, 0, uint64_t{1} << 62, 90000), 0xFFFFFFFFu);
}

TEST(TrackTimes, FramePeriod) {
  EXPECT_EQ(FramePeriodNs(50, 1, 60), 20'000'000u);
  EXPECT_EQ(FramePeriodNs(60000, 1001, 60), 16'683'333u);
  EXPECT_EQ(FramePeriodNs(0, 1, 60), 16'666'667u);
  EXPECT_EQ(FramePeriodNs(0, 0, 30), 33'333'333u);
  EXPECT_EQ(FramePeriodNs(25, 0, 60), 40'000'000u);
}

TEST(TrackTable, ChunksLastAboutASecond) {
  TrackTable table;
  table.timescale = 100;
  for (const uint32_t ticks : {60, 39, 1, 100, 250, 99}) table.AddSample(10 + ticks, ticks, false);
  table.CutIntoChunks();
  ASSERT_EQ(table.chunks.size(), 4u);
  const uint32_t kSamples[] = {3, 1, 1, 1};
  const uint64_t kBytes[] = {130, 110, 260, 109};
  uint64_t first = 0;
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(table.chunks[i].samples, kSamples[i]);
    EXPECT_EQ(table.chunks[i].first_sample, first);
    EXPECT_EQ(table.ChunkBytes(table.chunks[i]), kBytes[i]);
    first += kSamples[i];
  }
  EXPECT_EQ(table.MediaBytes(), std::accumulate(kBytes, kBytes + 4, uint64_t{0}));
}

TEST(FixedPoint, HoldsEveryFloat) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  EXPECT_EQ(Millionths(0.1f), 100'000u);
  EXPECT_EQ(Millionths(-1), 0u);
  EXPECT_EQ(Millionths(1.5f), 1'000'000u);
  EXPECT_EQ(Millionths(nan), 0u);
  EXPECT_EQ(FractionIn(0.708f, kChromaticityParts), 35400u);
  EXPECT_EQ(TenThousandthNits(0.005f), 50u);
  EXPECT_EQ(TenThousandthNits(203), 2'030'000u);
  EXPECT_EQ(TenThousandthNits(0.00019f), 1u);
  EXPECT_EQ(TenThousandthNits(nan), 0u);
  EXPECT_EQ(TenThousandthNits(inf), 0xFFFFFFFFu);
}

}  // namespace
}  // namespace orventa
