#include "convert/colour.h"

#include <gtest/gtest.h>

#include <limits>

#include "convert/curve_table.h"
#include "convert/geometry.h"
#include "convert/half.h"

namespace orventa {
namespace {

TEST(Half, LiteralValuesBothWays) {
  const struct {
    uint16_t half;
    float value;
  } rows[] = {{0x0000, 0.0F},         {0x3C00, 1.0F},        {0xC000, -2.0F},
              {0x7BFF, 65504.0F},     {0x0400, 0x1p-14F},    {0x0001, 0x1p-24F},
              {0x03FF, 0x1.FF8p-15F}, {0x3555, 0.33325195F}, {0x8001, -0x1p-24F}};
  for (const auto& row : rows) {
    EXPECT_EQ(HalfToFloat(row.half), row.value) << std::hex << row.half;
    EXPECT_EQ(FloatToHalf(row.value), row.half) << row.value;
  }
  EXPECT_EQ(FloatToHalf(65520.0F), 0x7C00);
  EXPECT_EQ(FloatToHalfTruncated(65535.9F), 0x7BFF);
  EXPECT_EQ(FloatToHalf(0x1p-25F), 0);  // a tie, to even
  EXPECT_EQ(FloatToHalf(0x1.000002p-25F), 1);
  EXPECT_EQ(FloatToHalf(1e-30F), 0);
  EXPECT_TRUE(std::isnan(HalfToFloat(FloatToHalf(std::numeric_limits<float>::quiet_NaN()))));
}

// Between two halves the nearer one, the even one in the middle, the lower one when
// truncated.
TEST(Half, RoundsEveryPositiveNeighbourhood) {
  for (uint16_t half = 0; half < 0x7BFF; ++half) {
    const float low = HalfToFloat(half);
    const float high = HalfToFloat(static_cast<uint16_t>(half + 1));
    const float middle = low + (high - low) / 2;
    const uint16_t even = half % 2 == 0 ? half : static_cast<uint16_t>(half + 1);
    ASSERT_EQ(FloatToHalf(low), half);
    ASSERT_EQ(FloatToHalf(middle), even) << half;
    ASSERT_EQ(FloatToHalf(std::nextafter(middle, low)), half);
    ASSERT_EQ(FloatToHalf(std::nextafter(middle, high)), half + 1);
    ASSERT_EQ(FloatToHalfTruncated(std::nextafter(high, low)), half);
    ASSERT_EQ(FloatToHalfTruncated(-middle), half | 0x8000);
  }
}

// Points of the ST 2084 curve, as BT.2408 and its neighbours print them.
TEST(Pq, KnownPoints) {
  const struct {
    float nits;
    float code;
  } rows[] = {{0, 7.3e-7F},      {1, 0.149946F},   {10, 0.299699F},
              {100, 0.508078F},  {203, 0.580690F}, {1000, 0.751827F},
              {4000, 0.902572F}, {10000, 1.0F},    {20000, 1.0F}};
  for (const auto& row : rows) {
    EXPECT_NEAR(LinearToPq(row.nits), row.code, 5e-6F) << row.nits;
    if (row.nits >= 1 && row.nits <= 10000) {
      EXPECT_NEAR(PqToLinear(row.code), row.nits, row.nits * 5e-4F) << row.code;
    }
  }
}

TEST(Curves, TablesFollowThemFarCloserThanACode) {
  const TableCurves& tables = TableCurves::Get();
  for (uint16_t half = 1; half < 0x7C00; ++half) {
    const float light = HalfToFloat(half);
    ASSERT_NEAR(tables.Pq(light), LinearToPq(light), 0.1F / 1023) << light;
    if (light > 0.001F) {
      ASSERT_NEAR(tables.Pq(light), LinearToPq(light), 0.02F / 1023) << light;
    }
    if (light <= 1.0F) {
      ASSERT_NEAR(tables.Srgb(light), LinearToSrgb(light), 0.002F / 1023) << light;
    }
  }
}

TEST(RollOff, MeetsOneAtThePeakAndNeverExceedsIt) {
  for (const float peak : {1.0F, 1.5F, 4.0F, 12.5F}) {
    const Tone tone = MakeTone(1, peak, DrawnClass::HdrOrUnknown);
    EXPECT_FLOAT_EQ(RollOne(peak, tone), 1.0F);
    EXPECT_EQ(RollOne(0.8F, tone), 0.8F);
    EXPECT_EQ(RollOne(0.3F, tone), 0.3F);
    float before = 0;
    for (float light = 0; light < 20; light += 0.01F) {
      const float rolled = RollOne(light, tone);
      ASSERT_LE(rolled, 1.0F) << light;
      ASSERT_GE(rolled, before) << light;
      before = rolled;
    }
    EXPECT_LE(RollOne(kLargestHalf, tone), 1.0F);
  }
}

TEST(RollOff, KeepsTheRatioOfChannels) {
  const Tone tone = MakeTone(1, 5, DrawnClass::HdrOrUnknown);
  const Rgb c = RollOff({4.0F, 2.0F, 1.0F}, tone);
  EXPECT_NEAR(c.r / c.g, 2.0F, 1e-6F);
  EXPECT_NEAR(c.r / c.b, 4.0F, 1e-6F);
  EXPECT_GT(c.r, 0.9F);
}

TEST(Gamut, RotationsKeepWhiteAndUndoEachOther) {
  const Rgb white = Bt709ToBt2020({1, 1, 1});
  EXPECT_NEAR(white.r, 1, 1e-6F);
  EXPECT_NEAR(white.g, 1, 1e-6F);
  EXPECT_NEAR(white.b, 1, 1e-6F);
  // Red of BT.709 as BT.2087 has it.
  const Rgb red = Bt709ToBt2020({1, 0, 0});
  EXPECT_NEAR(red.r, 0.6274F, 1e-4F);
  EXPECT_NEAR(red.g, 0.0691F, 1e-4F);
  EXPECT_NEAR(red.b, 0.0164F, 1e-4F);
  const Rgb back = Bt2020ToBt709(Bt709ToBt2020({0.9F, 0.1F, 0.4F}));
  EXPECT_NEAR(back.r, 0.9F, 1e-5F);
  EXPECT_NEAR(back.g, 0.1F, 1e-5F);
  EXPECT_NEAR(back.b, 0.4F, 1e-5F);
}

// Codes of the pure colours, 8 and 10 bits, as colour bar tables of the two
// recommendations print them.
TEST(Matrices, PureColours) {
  const struct {
    Rgb colour;
    int y8, cb8, cr8;     // BT.709, 8 bits
    int y10, cb10, cr10;  // BT.2020, 10 bits
  } rows[] = {
      {{1, 1, 1}, 235, 128, 128, 940, 512, 512}, {{0, 0, 0}, 16, 128, 128, 64, 512, 512},
      {{1, 0, 0}, 63, 102, 240, 294, 387, 960},  {{0, 1, 0}, 173, 42, 26, 658, 189, 100},
      {{0, 0, 1}, 32, 240, 118, 116, 960, 476},  {{1, 1, 0}, 219, 16, 138, 888, 64, 548},
  };
  for (const auto& row : rows) {
    const Chroma c709 = ToChroma(row.colour, Primaries::Bt709);
    EXPECT_EQ(QuantiseLuma8(Luma(row.colour, Primaries::Bt709)), row.y8);
    EXPECT_EQ(QuantiseChroma8(c709.cb), row.cb8);
    EXPECT_EQ(QuantiseChroma8(c709.cr), row.cr8);
    const Chroma c2020 = ToChroma(row.colour, Primaries::Bt2020);
    EXPECT_EQ(QuantiseLuma10(Luma(row.colour, Primaries::Bt2020)), row.y10 << 6);
    EXPECT_EQ(QuantiseChroma10(c2020.cb), row.cb10 << 6);
    EXPECT_EQ(QuantiseChroma10(c2020.cr), row.cr10 << 6);
  }
}

}  // namespace
}  // namespace orventa
