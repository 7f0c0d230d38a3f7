#include "encoders/lavc/planes.h"

#include <gtest/gtest.h>

#include <vector>

namespace orventa {
namespace {

// Widths around the vector sizes, and rows longer than what is in them.
constexpr uint32_t kWidths[] = {1, 7, 8, 9, 15, 16, 17, 40};
constexpr uint32_t kRows = 3;
constexpr size_t kStride = 192;

std::vector<uint8_t> Noise() {
  std::vector<uint8_t> bytes(kStride * kRows);
  uint32_t state = 1;
  for (auto& byte : bytes) {
    state = state * 1664525U + 1013904223U;
    byte = static_cast<uint8_t>(state >> 24U);
  }
  return bytes;
}

int Word(const std::vector<uint8_t>& bytes, size_t at) {
  return bytes[at] | bytes[at + 1] << 8;
}

TEST(Planes, SplitsChromaAsOneByOneWould) {
  auto in = Noise();
  for (const uint32_t pairs : kWidths) {
    std::vector<uint8_t> a(in.size(), 0xEE);
    std::vector<uint8_t> b(in.size(), 0xEE);
    SplitChroma8({in.data(), kStride}, pairs, kRows, {a.data(), kStride}, {b.data(), kStride});
    for (size_t y = 0; y < kRows; ++y) {
      for (size_t x = 0; x < pairs; ++x) {
        ASSERT_EQ(a[y * kStride + x], in[y * kStride + 2 * x]) << pairs << " " << x;
        ASSERT_EQ(b[y * kStride + x], in[y * kStride + 2 * x + 1]) << pairs << " " << x;
      }
      ASSERT_EQ(a[y * kStride + pairs], 0xEE) << "wrote past " << pairs;
    }
  }
}

TEST(Planes, LowersTenBitCodes) {
  auto in = Noise();
  for (const uint32_t width : kWidths) {
    std::vector<uint8_t> a(in.size(), 0xEE);
    std::vector<uint8_t> b(in.size(), 0xEE);
    std::vector<uint8_t> luma(in.size(), 0xEE);
    SplitChroma10({in.data(), kStride}, width, kRows, {a.data(), kStride}, {b.data(), kStride});
    LowerTenBits({in.data(), kStride}, width, kRows, {luma.data(), kStride});
    for (size_t y = 0; y < kRows; ++y) {
      const size_t row = y * kStride;
      for (size_t x = 0; x < width; ++x) {
        ASSERT_EQ(Word(a, row + 2 * x), Word(in, row + 4 * x) / 64) << width << " " << x;
        ASSERT_EQ(Word(b, row + 2 * x), Word(in, row + 4 * x + 2) / 64) << width << " " << x;
        ASSERT_EQ(Word(luma, row + 2 * x), Word(in, row + 2 * x) / 64) << width << " " << x;
      }
      ASSERT_EQ(a[row + 2 * size_t{width}], 0xEE) << "wrote past " << width;
    }
  }
}

}  // namespace
}  // namespace orventa
