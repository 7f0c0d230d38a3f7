// The frame number that the demo game draws into its picture, as a row of black
// and white cells along the top and again along the bottom, and a patch in the
// middle that flashes. Made to survive scaling and hard compression: cells are a
// thirty-second of the picture wide, carry a known start and a checksum, and are
// judged against their own black and white. Written by the game, read by the tests
// and by orventa-read-bar-codes. Any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace orventa {

// One byte a pixel, 0 black. Luma of video range is fine.
struct LumaView {
  const uint8_t* pixels = nullptr;
  size_t stride = 0;  // bytes from one row to the next
  uint32_t width = 0;
  uint32_t height = 0;
};

struct PixelRect {
  uint32_t left = 0;
  uint32_t top = 0;
  uint32_t width = 0;
  uint32_t height = 0;
};

namespace bar_code {

// Four cells of start, twenty of number, eight of checksum; true is white.
inline constexpr uint32_t kCells = 32;
inline constexpr uint32_t kNumbers = 1U << 20U;  // frame numbers wrap here
using Cells = std::array<bool, kCells>;

Cells Encode(uint32_t number);
// None when start or checksum do not fit.
std::optional<uint32_t> Decode(const Cells& cells);

enum class Row { Top, Bottom };
// Where a cell lies in a picture of this size.
PixelRect CellRect(Row row, uint32_t cell, uint32_t width, uint32_t height);
// The patch that is white while it flashes and black otherwise.
PixelRect FlashRect(uint32_t width, uint32_t height);

struct Reading {
  std::optional<uint32_t> top;
  std::optional<uint32_t> bottom;
  bool flash = false;

  // The frame's number; none when a row cannot be read or the picture is torn
  // between two frames.
  std::optional<uint32_t> Number() const { return top == bottom ? top : std::nullopt; }
};
Reading Read(const LumaView& picture);

}  // namespace bar_code
}  // namespace orventa
