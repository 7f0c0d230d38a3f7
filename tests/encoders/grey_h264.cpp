#include "tests/encoders/grey_h264.h"

#include <bit>

namespace orventa {
namespace {

class Bits {
 public:
  void Put(uint32_t value, int count) {
    for (int bit = count - 1; bit >= 0; --bit) {
      if (filled_ % 8 == 0) bytes_.push_back(0);
      bytes_.back() |= static_cast<uint8_t>((value >> bit & 1U) << (7 - filled_++ % 8));
    }
  }
  void Golomb(uint32_t value) {
    const int width = static_cast<int>(std::bit_width(value + 1));
    Put(0, width - 1);
    Put(value + 1, width);
  }
  // Everything so far as a unit with start code, its end marked and zeros broken up.
  std::vector<uint8_t> Unit(uint8_t head) {
    Put(1, 1);
    std::vector<uint8_t> unit = {0, 0, 0, 1, head};
    int zeros = 0;
    for (const uint8_t byte : bytes_) {
      if (zeros >= 2 && byte <= 3) {
        unit.push_back(3);
        zeros = 0;
      }
      unit.push_back(byte);
      zeros = byte == 0 ? zeros + 1 : 0;
    }
    return unit;
  }

 private:
  std::vector<uint8_t> bytes_;
  int filled_ = 0;
};

}  // namespace

std::vector<uint8_t> GreyH264::Header() const {
  const uint32_t columns = (width_ + 15) / 16;
  const uint32_t rows = (height_ + 15) / 16;
  Bits sps;
  sps.Put(66 << 16 | 0xC0 << 8 | 52, 24);                            // baseline, level 5.2
  for (const uint32_t value : {0U, 12U, 2U, 1U}) sps.Golomb(value);  // 16 bits of frame number
  sps.Put(0, 1);
  sps.Golomb(columns - 1);
  sps.Golomb(rows - 1);
  sps.Put(0b111, 3);  // frames only, cropped
  for (const uint32_t cut : {0U, columns * 16 - width_, 0U, rows * 16 - height_}) {
    sps.Golomb(cut / 2);
  }
  sps.Put(0, 1);
  std::vector<uint8_t> header = sps.Unit(0x67);
  // Variable-length codes, one reference, and slices that tell of deblocking.
  header.insert(header.end(), {0, 0, 0, 1, 0x68, 0xCE, 0x3C, 0x80});
  return header;
}

std::vector<uint8_t> GreyH264::Picture(bool keyframe) {
  const uint32_t macroblocks = (width_ + 15) / 16 * ((height_ + 15) / 16);
  frame_num_ = keyframe ? 0 : (frame_num_ + 1) & 0xFFFFU;
  Bits slice;
  for (const uint32_t value : {0U, keyframe ? 7U : 5U, 0U}) slice.Golomb(value);
  slice.Put(frame_num_, 16);
  if (keyframe) slice.Golomb(idr_id_++ % 2);
  slice.Put(0, keyframe ? 2 : 3);
  slice.Golomb(0);
  slice.Golomb(1);                           // no deblocking
  if (!keyframe) slice.Golomb(macroblocks);  // all skipped
  // Predicted from nothing, and no difference: 128.
  for (uint32_t i = 0; keyframe && i < macroblocks; ++i) slice.Put(0b00100'111, 8);
  return slice.Unit(keyframe ? 0x65 : 0x41);
}

}  // namespace orventa
