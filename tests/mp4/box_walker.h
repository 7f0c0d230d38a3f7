// A reader of boxes for tests, written apart from the code under test: finds
// boxes by path and takes big-endian numbers out of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orventa::test {

struct Box {
  std::string type;
  size_t start = 0;  // of the header, from the file's start
  size_t header_bytes = 8;
  std::vector<uint8_t> body;

  size_t end() const { return start + header_bytes + body.size(); }
  uint64_t Number(size_t at, size_t bytes) const;
  uint32_t U8(size_t at) const { return static_cast<uint32_t>(Number(at, 1)); }
  uint32_t U16(size_t at) const { return static_cast<uint32_t>(Number(at, 2)); }
  uint32_t U32(size_t at) const { return static_cast<uint32_t>(Number(at, 4)); }
  uint64_t U64(size_t at) const { return Number(at, 8); }
  std::string Text(size_t at, size_t bytes) const;
};

// The boxes in `bytes`, which begin at `start` of their file. Throws when sizes
// do not add up to the end exactly.
std::vector<Box> Boxes(const std::vector<uint8_t>& bytes, size_t start = 0);
// Their types with a space between.
std::string Types(const std::vector<Box>& boxes);

// The box at a path such as "moov/trak[1]/mdia/stbl"; throws when there is none.
Box Find(const std::vector<uint8_t>& file, std::string_view path);
bool Has(const std::vector<uint8_t>& file, std::string_view path);
// The children of a box that has nothing before them.
std::vector<Box> Children(const Box& box, size_t skip = 0);

// One sample of a track as the tables describe it.
struct Sample {
  uint64_t offset = 0;
  uint32_t size = 0;
  uint32_t duration = 0;
  bool sync = false;
  bool operator==(const Sample&) const = default;
};
// Expands stsz, stsc, co64, stts and stss of a "moov/trak[n]".
std::vector<Sample> Samples(const std::vector<uint8_t>& file, std::string_view trak);

}  // namespace orventa::test
