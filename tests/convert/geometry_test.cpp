#include "convert/geometry.h"

#include <gtest/gtest.h>

namespace orventa {
namespace {

TEST(Letterbox, KeepsTheShapeCentredOnEvenPixels) {
  const struct {
    uint32_t source_width, source_height, width, height;
    PlacedRect rect;
  } rows[] = {
      {1920, 1080, 1920, 1080, {0, 0, 1920, 1080}},
      {2560, 1440, 1920, 1080, {0, 0, 1920, 1080}},
      {640, 360, 1920, 1080, {0, 0, 1920, 1080}},
      {1024, 768, 1920, 1080, {240, 0, 1440, 1080}},
      {1280, 1024, 1920, 1080, {284, 0, 1350, 1080}},
      {3440, 1440, 1920, 1080, {0, 138, 1920, 804}},
      {2560, 1080, 1920, 1080, {0, 134, 1920, 810}},
      {1080, 1920, 1920, 1080, {656, 0, 608, 1080}},
      // A shape that is off by less than a pixel makes no bars.
      {1366, 768, 1280, 720, {0, 0, 1280, 720}},
      {1919, 1079, 1918, 1078, {0, 0, 1918, 1078}},
      // Never nothing, however thin.
      {16384, 1, 64, 64, {0, 30, 64, 2}},
      {1, 16384, 2, 64, {0, 0, 2, 64}},
  };
  for (const auto& row : rows) {
    const PlacedRect rect = Letterbox(row.source_width, row.source_height, row.width, row.height);
    EXPECT_EQ(rect, row.rect) << row.source_width << "x" << row.source_height << " in " << row.width
                              << "x" << row.height << ": " << rect.left << "," << rect.top << " "
                              << rect.width << "x" << rect.height;
  }
}

TEST(Letterbox, HoldsItsPromisesForEverySmallSize) {
  for (uint32_t sw = 1; sw < 40; ++sw) {
    for (uint32_t sh = 1; sh < 40; ++sh) {
      const uint32_t width = 24;
      const uint32_t height = 18;
      const PlacedRect r = Letterbox(sw, sh, width, height);
      ASSERT_TRUE(r.left % 2 == 0 && r.top % 2 == 0 && r.width % 2 == 0 && r.height % 2 == 0);
      ASSERT_TRUE(r.width >= 2 && r.height >= 2);
      ASSERT_TRUE(r.left + r.width <= width && r.top + r.height <= height);
      ASSERT_TRUE(r.width == width || r.height == height) << sw << "x" << sh;
      const auto right = static_cast<int>(width - r.width - r.left);
      const auto bottom = static_cast<int>(height - r.height - r.top);
      ASSERT_LE(std::abs(right - static_cast<int>(r.left)), 2);
      ASSERT_LE(std::abs(bottom - static_cast<int>(r.top)), 2);
    }
  }
}

TEST(Taps, EnoughThatNoTexelIsSkipped) {
  const struct {
    double scale;
    uint32_t luma, chroma;
  } rows[] = {{0.25, 1, 1}, {1, 1, 1}, {1.0000001, 1, 1}, {4.0 / 3, 1, 2}, {2, 1, 2}, {2.01, 2, 3},
              {3, 2, 3},    {4, 2, 4}, {4.1, 3, 4},       {6, 3, 4},       {8, 4, 4}, {1000, 4, 4}};
  for (const auto& row : rows) {
    EXPECT_EQ(TapsFor(row.scale).luma, row.luma) << row.scale;
    EXPECT_EQ(TapsFor(row.scale).chroma, row.chroma) << row.scale;
  }
}

}  // namespace
}  // namespace orventa
