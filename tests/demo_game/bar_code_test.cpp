#include "tools/demo_game/bar_code.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "tools/demo_game/picture_size.h"
#include "tools/demo_game/scene.h"

namespace orventa {
namespace {

// A frame of the game as an encoder sees it: its luma in video range.
class Luma {
 public:
  Luma(uint32_t width, uint32_t height, uint32_t number, bool flash)
      : width_(width), height_(height), bytes_(size_t{width} * height) {
    std::vector<uint32_t> pixels(bytes_.size());
    Scene(width, height).Draw(number, flash, pixels.data(), width);
    for (size_t i = 0; i < pixels.size(); ++i) {
      const uint32_t sum =
          66 * (pixels[i] >> 16 & 0xFF) + 129 * (pixels[i] >> 8 & 0xFF) + 25 * (pixels[i] & 0xFF);
      bytes_[i] = static_cast<uint8_t>(16 + (sum + 128) / 256);
    }
  }

  LumaView view() const { return {bytes_.data(), width_, width_, height_}; }
  uint8_t& at(uint32_t x, uint32_t y) { return bytes_[size_t{width_} * y + x]; }
  uint32_t width() const { return width_; }
  uint32_t height() const { return height_; }

  // Box-shrinks to a size, as a scaler would.
  std::vector<uint8_t> Shrunk(uint32_t width, uint32_t height) {
    std::vector<uint8_t> out;
    for (uint32_t y = 0; y < height; ++y) {
      for (uint32_t x = 0; x < width; ++x) {
        out.push_back(at(x * width_ / width, y * height_ / height));
      }
    }
    return out;
  }

 private:
  uint32_t width_;
  uint32_t height_;
  std::vector<uint8_t> bytes_;
};

TEST(BarCode, IsReadFromTheScene) {
  struct Case {
    uint32_t width, height, number;
  };
  for (const Case& c : {Case{1280, 720, 0}, Case{1280, 720, 123456}, Case{640, 360, 1048575},
                        Case{1366, 768, 7}, Case{1919, 1079, 99}, Case{64, 64, 5}}) {
    for (const bool flash : {false, true}) {
      const auto reading = bar_code::Read(Luma(c.width, c.height, c.number, flash).view());
      EXPECT_EQ(reading.Number(), c.number) << c.width << "x" << c.height;
      EXPECT_EQ(reading.flash, flash);
    }
  }
  EXPECT_EQ(bar_code::Read(Luma(640, 360, bar_code::kNumbers + 3, false).view()).Number(), 3U);
}

TEST(BarCode, SurvivesScalingAndNoise) {
  Luma picture(1280, 720, 54321, true);
  const std::vector<uint8_t> small = picture.Shrunk(426, 240);
  EXPECT_EQ(bar_code::Read({small.data(), 426, 426, 240}).Number(), 54321U);

  uint32_t random = 1;
  for (uint32_t y = 0; y < picture.height(); ++y) {
    for (uint32_t x = 0; x < picture.width(); ++x) {
      random = random * 1664525U + 1013904223U;
      const int noisy = picture.at(x, y) + static_cast<int>(random >> 26) - 32;
      picture.at(x, y) = static_cast<uint8_t>(std::clamp(noisy, 0, 255));
    }
  }
  const auto reading = bar_code::Read(picture.view());
  EXPECT_EQ(reading.Number(), 54321U);
  EXPECT_TRUE(reading.flash);
}

TEST(BarCode, TellsATornPictureAndABlendOfTwo) {
  Luma old_frame(640, 360, 100, false);
  Luma new_frame(640, 360, 103, false);
  Luma torn = new_frame;
  Luma blend = new_frame;
  for (uint32_t y = 0; y < 360; ++y) {
    for (uint32_t x = 0; x < 640; ++x) {
      if (y >= 180) torn.at(x, y) = old_frame.at(x, y);
      blend.at(x, y) = static_cast<uint8_t>((old_frame.at(x, y) + new_frame.at(x, y)) / 2);
    }
  }
  const auto reading = bar_code::Read(torn.view());
  EXPECT_EQ(reading.top, 103U);
  EXPECT_EQ(reading.bottom, 100U);
  EXPECT_EQ(reading.Number(), std::nullopt);
  EXPECT_EQ(bar_code::Read(blend.view()).Number(), std::nullopt);
}

TEST(BarCode, RefusesWhatIsNone) {
  const std::vector<uint8_t> grey(640 * 360, 128);
  EXPECT_EQ(bar_code::Read({grey.data(), 640, 640, 360}).Number(), std::nullopt);
  EXPECT_EQ(bar_code::Read({grey.data(), 20, 20, 10}).Number(), std::nullopt);

  // Any one or two wrong cells are noticed.
  const bar_code::Cells good = bar_code::Encode(654321);
  ASSERT_EQ(bar_code::Decode(good), 654321U);
  for (size_t i = 0; i < bar_code::kCells; ++i) {
    for (size_t j = i; j < bar_code::kCells; ++j) {
      bar_code::Cells bad = good;
      bad[i] = !bad[i];
      if (j != i) bad[j] = !bad[j];
      EXPECT_EQ(bar_code::Decode(bad), std::nullopt) << i << "," << j;
    }
  }
}

// An encoder that saw still parts would have an easy time.
TEST(Scene, ChangesEverywhereFromFrameToFrame) {
  constexpr uint32_t kWidth = 640;
  constexpr uint32_t kHeight = 360;
  const Scene scene(kWidth, kHeight);
  std::vector<uint32_t> before(size_t{kWidth} * kHeight);
  std::vector<uint32_t> after(before.size());
  scene.Draw(1000, false, before.data(), kWidth);
  scene.Draw(1001, false, after.data(), kWidth);
  const PixelRect flash = bar_code::FlashRect(kWidth, kHeight);
  for (uint32_t top = 20; top + 20 <= kHeight - 20; top += 20) {
    for (uint32_t left = 0; left < kWidth; left += 32) {
      if (left + 32 > flash.left && left < flash.left + flash.width && top + 20 > flash.top &&
          top < flash.top + flash.height) {
        continue;
      }
      uint32_t changed = 0;
      for (uint32_t y = top; y < top + 20; ++y) {
        for (uint32_t x = left; x < left + 32; ++x) {
          changed += before[size_t{kWidth} * y + x] != after[size_t{kWidth} * y + x] ? 1 : 0;
        }
      }
      EXPECT_GT(changed, 20U * 32U * 3 / 4) << left << "," << top;
    }
  }
}

TEST(PictureSize, IsTwoNumbersInRange) {
  const auto size = ParsePictureSize("1280x720");
  ASSERT_TRUE(size);
  EXPECT_EQ(size->width, 1280U);
  EXPECT_EQ(size->height, 720U);
  for (const char* text : {"", "x", "1280", "1280x", "x720", "1280x720x2", "0x0", "-1280x720",
                           "1280x99999", "1280 x 720", "99999999999999999999x720"}) {
    EXPECT_FALSE(ParsePictureSize(text)) << text;
  }
}

}  // namespace
}  // namespace orventa
