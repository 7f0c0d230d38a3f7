#include "video/video_linux/edid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

namespace orventa {
namespace {

using Bytes = std::vector<uint8_t>;

void Seal(Bytes& bytes) {
  bytes[127] = 0;
  bytes[127] = static_cast<uint8_t>(256 - std::accumulate(bytes.begin(), bytes.end(), 0U) % 256);
}

void PutText(Bytes& bytes, size_t at, uint8_t kind, std::string_view text) {
  bytes[at + 3] = kind;
  std::copy(text.begin(), text.end(), bytes.begin() + static_cast<ptrdiff_t>(at) + 5);
}

// "DEL", product 0xA0C4.
Bytes Monitor() {
  Bytes bytes(128);
  std::fill(bytes.begin() + 1, bytes.begin() + 7, uint8_t{0xFF});
  bytes[8] = 0x10;
  bytes[9] = 0xAC;
  bytes[10] = 0xC4;
  bytes[11] = 0xA0;
  bytes[54] = bytes[55] = 1;  // a mode
  Seal(bytes);
  return bytes;
}

TEST(Edid, TellsModelSerialAndName) {
  Bytes bytes = Monitor();
  auto identity = ReadEdid(bytes);
  ASSERT_TRUE(identity);
  EXPECT_EQ(identity->model, "DEL-A0C4");
  EXPECT_EQ(identity->serial, "");
  EXPECT_EQ(identity->name, "");

  PutText(bytes, 72, 0xFC, "DELL U2720Q\n ");
  PutText(bytes, 90, 0xFF,
          "ABC\x01"
          "123456789");
  Seal(bytes);
  identity = ReadEdid(bytes);
  EXPECT_EQ(identity->name, "DELL U2720Q");
  EXPECT_EQ(identity->serial, "ABC 123456789") << "thirteen characters with no end";

  bytes[12] = 0x1A;
  bytes[15] = 0x02;
  Seal(bytes);
  EXPECT_EQ(ReadEdid(bytes)->serial, "0200001A") << "the number before the text";
}

TEST(Edid, TakesNothingElse) {
  const Bytes good = Monitor();
  EXPECT_FALSE(ReadEdid({}));
  EXPECT_FALSE(ReadEdid(std::span(good).first(127)));
  for (const size_t at : {1, 20, 127}) {
    Bytes bytes = good;
    bytes[at] ^= 1;
    EXPECT_FALSE(ReadEdid(bytes)) << "byte " << at;
  }
  Bytes bytes = good;
  bytes[8] = bytes[9] = 0;  // no maker
  Seal(bytes);
  EXPECT_FALSE(ReadEdid(bytes));
}

}  // namespace
}  // namespace orventa
