// Reads bits, most significant first, out of bytes that it does not own. A read
// past the end gives zeros and sets `failed`, which stays set. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orventa {

class BitReader {
 public:
  explicit BitReader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  // At most 32 bits.
  uint32_t Bits(uint32_t count) {
    uint32_t value = 0;
    for (; count > 0; --count) value = (value << 1) | Bit();
    return value;
  }
  void Skip(uint32_t count) {
    for (; count > 0; --count) (void)Bit();
  }
  // Exp-Golomb, unsigned; codes above 32 bits fail.
  uint32_t Ue() {
    uint32_t zeros = 0;
    while (!failed_ && Bit() == 0) ++zeros;
    if (zeros > 31) failed_ = true;
    return failed_ ? 0 : ((1u << zeros) - 1) + Bits(zeros);
  }

  bool failed() const { return failed_; }

 private:
  uint32_t Bit() {
    const size_t byte = position_ / 8;
    if (byte >= bytes_.size()) {
      failed_ = true;
      return 0;
    }
    const uint32_t bit = (static_cast<uint32_t>(bytes_[byte]) >> (7 - position_ % 8)) & 1u;
    ++position_;
    return bit;
  }

  std::span<const uint8_t> bytes_;
  size_t position_ = 0;  // in bits
  bool failed_ = false;
};

}  // namespace orventa
