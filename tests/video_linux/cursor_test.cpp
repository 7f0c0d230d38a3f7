#include <gtest/gtest.h>

#include <memory>

#include "video/video_linux/x11_cursor.h"

namespace orventa {
namespace {

CursorShape Square(uint16_t side, uint32_t premultiplied, int16_t hot) {
  CursorShape shape;
  shape.width = side;
  shape.height = side;
  shape.hot_x = hot;
  shape.hot_y = hot;
  shape.pixels.assign(size_t{side} * side, premultiplied);
  shape.visible = true;
  return shape;
}

uint8_t* Pixel(const MemoryPicture& picture, uint32_t x, uint32_t y) {
  return picture.plane(0).data + y * picture.plane(0).stride + size_t{x} * 4;
}

TEST(CursorPainter, LaysHalfTransparentColoursOverThePicture) {
  const auto picture = MemoryPicture::Allocate(PixelFormat::Bgra8, 4, 4);
  uint8_t* const pixel = Pixel(*picture, 1, 1);
  pixel[0] = 200;
  pixel[1] = 100;
  pixel[2] = 0;
  CursorPainter painter;
  // Alpha 128: blue 0, green 64, red 128, each already multiplied by it.
  painter.Draw(*picture, Square(1, 0x80804000, 0), 1, 1);
  EXPECT_EQ(pixel[0], 100);  // 200 * 127 / 255
  EXPECT_EQ(pixel[1], 114);  // 64 + 100 * 127 / 255
  EXPECT_EQ(pixel[2], 128);
  EXPECT_EQ(Pixel(*picture, 2, 1)[0], 0);
}

// Every place around and beyond the edges: only pixels within both are touched,
// and taking the pointer out again restores them all.
TEST(CursorPainter, StaysInsideThePicture) {
  constexpr int kSide = 5;
  const auto picture = MemoryPicture::Allocate(PixelFormat::Bgra8, 7, 6);
  CursorPainter painter;
  for (int y = -8; y < 14; ++y) {
    for (int x = -8; x < 14; ++x) {
      painter.Draw(*picture, Square(kSide, 0xFFFFFFFF, 2), x, y);
      for (int row = 0; row < 6; ++row) {
        for (int column = 0; column < 7; ++column) {
          const bool inside =
              column >= x - 2 && column < x - 2 + kSide && row >= y - 2 && row < y - 2 + kSide;
          ASSERT_EQ(Pixel(*picture, static_cast<uint32_t>(column), static_cast<uint32_t>(row))[1],
                    inside ? 255 : 0)
              << x << "," << y << " at " << column << "," << row;
        }
      }
      painter.Erase(*picture);

      for (uint32_t row = 0; row < 6; ++row) {
        for (uint32_t column = 0; column < 7; ++column) {
          ASSERT_EQ(Pixel(*picture, column, row)[1], 0);
        }
      }
    }
  }
}

}  // namespace
}  // namespace orventa
