// How boxes get into and out of bytes: four-character codes, the scope that fills
// in a box's size when it closes, and the two sides of a box description (see
// boxes.h). Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "base/bytes.h"

namespace orventa {

constexpr uint32_t FourCc(std::string_view text) {
  uint32_t code = 0;
  for (size_t i = 0; i < 4; ++i) code = (code << 8) | static_cast<uint8_t>(text[i]);
  return code;
}

// Bytes before the body: u32 size and u32 type.
inline constexpr size_t kBoxHeaderBytes = 8;
// With the 64-bit form: u32 1, type, u64 size.
inline constexpr size_t kLargeBoxHeaderBytes = 16;

// A box that is open as long as the scope lives: its size stands as 0 until then.
// Boxes in memory stay far below 4 GiB.
class BoxScope {
 public:
  BoxScope(ByteWriter& out, uint32_t type) : out_(out), start_(out.position()) {
    out_.U32(0);
    out_.U32(type);
  }
  ~BoxScope() { out_.PatchU32(start_, static_cast<uint32_t>(out_.position() - start_)); }
  BoxScope(const BoxScope&) = delete;
  BoxScope& operator=(const BoxScope&) = delete;

 private:
  ByteWriter& out_;
  size_t start_;
};

// The header of a box whose size takes 64 bits, whatever it is.
inline void WriteLargeBoxHeader(ByteWriter& out, uint32_t type, uint64_t size) {
  out.U32(1);
  out.U32(type);
  out.U64(size);
}

// Writes the fields that a description names.
class FieldWriter {
 public:
  explicit FieldWriter(ByteWriter& out) : out_(out) {}

  void U8(uint8_t value) { out_.U8(value); }
  void U16(uint16_t value) { out_.U16(value); }
  void U24(uint32_t value) { out_.U24(value); }
  void U32(uint32_t value) { out_.U32(value); }
  void U64(uint64_t value) { out_.U64(value); }
  // 64 bits in version 1 of a box, else 32.
  void Sized(uint8_t version, uint64_t value) {
    version == 1 ? out_.U64(value) : out_.U32(static_cast<uint32_t>(value));
  }
  void SizedSigned(uint8_t version, int64_t value) { Sized(version, static_cast<uint64_t>(value)); }
  void Zeros(size_t count) { out_.Zeros(count); }
  void Fixed(std::span<const uint8_t> bytes) { out_.Bytes(bytes); }

 private:
  ByteWriter& out_;
};

// Reads the same fields back. What is missing reads as 0; `ok` tells.
class FieldReader {
 public:
  explicit FieldReader(std::span<const uint8_t> body) : in_(body) {}

  void U8(uint8_t& value) { value = in_.U8(); }
  void U16(uint16_t& value) { value = in_.U16(); }
  void U24(uint32_t& value) { value = in_.U24(); }
  void U32(uint32_t& value) { value = in_.U32(); }
  void U64(uint64_t& value) { value = in_.U64(); }
  void Sized(uint8_t version, uint64_t& value) { value = version == 1 ? in_.U64() : in_.U32(); }
  void SizedSigned(uint8_t version, int64_t& value) {
    value = version == 1 ? static_cast<int64_t>(in_.U64()) : static_cast<int32_t>(in_.U32());
  }
  void Zeros(size_t count) { in_.Skip(count); }
  // Bytes whose value is always the same: `ok` turns false when they differ.
  void Fixed(std::span<const uint8_t> bytes) {
    const auto found = in_.Bytes(bytes.size());
    for (size_t i = 0; i < found.size(); ++i) same_ = same_ && found[i] == bytes[i];
  }

  bool ok() const { return same_ && !in_.failed(); }

 private:
  ByteReader in_;
  bool same_ = true;
};

// The whole box, header and all.
template <class Box>
void WriteBox(ByteWriter& out, const Box& box) {
  BoxScope scope(out, Box::kType);
  FieldWriter fields(out);
  Box::Describe(box, fields);
}

// From the bytes after the box header. False when the body is too short or is
// not of this kind; `box` then holds what was read.
template <class Box>
bool ReadBox(std::span<const uint8_t> body, Box& box) {
  FieldReader fields(body);
  Box::Describe(box, fields);
  return fields.ok();
}

}  // namespace orventa
