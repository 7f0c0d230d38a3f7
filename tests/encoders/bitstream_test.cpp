#include "encoders/bitstream.h"

#include <gtest/gtest.h>

namespace orventa {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes Kept(Codec codec, const Bytes& packet) {
  const Payload payload = PacketPayload(codec, packet);
  return {payload.bytes().begin(), payload.bytes().end()};
}

TEST(SequenceHeader, KeepsParameterSetsOnly) {
  const Bytes h264 = {0, 0, 0, 1, 0x67, 1, 2, 3, 0, 0, 1, 0x68, 4, 0, 0, 0, 1, 0x06, 9, 9};
  EXPECT_EQ(SequenceHeader(Codec::H264, h264),
            (Bytes{0, 0, 0, 1, 0x67, 1, 2, 3, 0, 0, 0, 1, 0x68, 4}));
  const Bytes hevc = {0, 0, 1, 0x40, 1, 0, 0, 1, 0x42, 1, 7, 0, 0, 1, 0x4E, 1, 0, 0, 1, 0x44, 1};
  EXPECT_EQ(SequenceHeader(Codec::Hevc, hevc),
            (Bytes{0, 0, 0, 1, 0x40, 1, 0, 0, 0, 1, 0x42, 1, 7, 0, 0, 0, 1, 0x44, 1}));
  for (const Bytes& nothing : {Bytes{}, Bytes{0, 0, 1}, Bytes{0, 0, 0, 1, 0x06, 1}}) {
    EXPECT_TRUE(SequenceHeader(Codec::H264, nothing).empty());
  }
}

TEST(SequenceHeader, FindsTheSequenceObu) {
  const Bytes sequence = {0x0A, 3, 1, 2, 3};
  Bytes after_delimiter = {0x12, 0};
  after_delimiter.insert(after_delimiter.end(), sequence.begin(), sequence.end());
  Bytes in_record = {0x81, 0x08, 0x0C, 0};
  in_record.insert(in_record.end(), sequence.begin(), sequence.end());
  EXPECT_EQ(SequenceHeader(Codec::Av1, sequence), sequence);
  EXPECT_EQ(SequenceHeader(Codec::Av1, after_delimiter), sequence);
  EXPECT_EQ(SequenceHeader(Codec::Av1, in_record), sequence);
  EXPECT_TRUE(SequenceHeader(Codec::Av1, {}).empty());
  EXPECT_TRUE(SequenceHeader(Codec::Av1, Bytes{0x0A, 9, 1}).empty()) << "longer than the header";
}

TEST(PacketPayload, DropsTemporalDelimitersOfAv1) {
  const Bytes plain = {0x12, 0, 0x32, 2, 8, 9};
  EXPECT_EQ(Kept(Codec::Av1, plain), (Bytes{0x32, 2, 8, 9}));
  const Bytes extended = {0x16, 0x20, 0, 0x36, 0x20, 0x82, 0x00, 8, 9, 0x30, 7};
  EXPECT_EQ(Kept(Codec::Av1, extended), (Bytes{0x36, 0x20, 0x82, 0x00, 8, 9, 0x30, 7}));
  EXPECT_EQ(Kept(Codec::H264, plain), plain);
  for (const Bytes& broken :
       {Bytes{0x12, 0, 0x32}, Bytes{0x12, 0, 0x32, 5, 1}, Bytes{0x16}, Bytes(20, 0xFF)}) {
    EXPECT_EQ(Kept(Codec::Av1, broken), broken);
  }
}

}  // namespace
}  // namespace orventa
