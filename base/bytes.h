// Big-endian reading and writing of bytes in memory, bounds-checked. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace orventa {

// Appends to a vector that it does not own.
class ByteWriter {
 public:
  explicit ByteWriter(std::vector<uint8_t>& out) : out_(out) {}

  void U8(uint32_t value) { out_.push_back(static_cast<uint8_t>(value)); }
  void U16(uint32_t value) { Big(value, 2); }
  void U24(uint32_t value) { Big(value, 3); }
  void U32(uint32_t value) { Big(value, 4); }
  void U64(uint64_t value) { Big(value, 8); }
  void Zeros(size_t count) { out_.insert(out_.end(), count, uint8_t{0}); }
  void Bytes(std::span<const uint8_t> bytes) {
    out_.insert(out_.end(), bytes.begin(), bytes.end());
  }
  void Text(std::string_view text) { out_.insert(out_.end(), text.begin(), text.end()); }

  size_t position() const { return out_.size(); }
  // Overwrites what was written at `position`, which must lie inside.
  void PatchU32(size_t position, uint32_t value) { Patch(position, value, 4); }
  void PatchU64(size_t position, uint64_t value) { Patch(position, value, 8); }

 private:
  void Big(uint64_t value, int width) {
    for (int shift = (width - 1) * 8; shift >= 0; shift -= 8) {
      out_.push_back(static_cast<uint8_t>(value >> shift));
    }
  }
  void Patch(size_t position, uint64_t value, size_t width) {
    for (size_t i = 0; i < width; ++i) {
      out_[position + i] = static_cast<uint8_t>(value >> ((width - 1 - i) * 8));
    }
  }

  std::vector<uint8_t>& out_;
};

// Reads from bytes that it does not own. A read past the end gives zeros and
// sets `failed`, which stays set: check once after a group of reads.
class ByteReader {
 public:
  explicit ByteReader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  uint8_t U8() { return static_cast<uint8_t>(Big(1)); }
  uint16_t U16() { return static_cast<uint16_t>(Big(2)); }
  uint32_t U24() { return static_cast<uint32_t>(Big(3)); }
  uint32_t U32() { return static_cast<uint32_t>(Big(4)); }
  uint64_t U64() { return Big(8); }
  std::span<const uint8_t> Bytes(size_t count) {
    if (failed_ || count > remaining()) {
      failed_ = true;
      return {};
    }
    const auto piece = bytes_.subspan(position_, count);
    position_ += count;
    return piece;
  }
  void Skip(size_t count) { (void)Bytes(count); }

  size_t remaining() const { return bytes_.size() - position_; }
  size_t position() const { return position_; }
  bool failed() const { return failed_; }

 private:
  uint64_t Big(size_t width) {
    uint64_t value = 0;
    for (const uint8_t byte : Bytes(width)) value = (value << 8) | byte;
    return value;
  }

  std::span<const uint8_t> bytes_;
  size_t position_ = 0;
  bool failed_ = false;
};

}  // namespace orventa
