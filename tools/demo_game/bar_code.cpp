#include "tools/demo_game/bar_code.h"

#include <algorithm>

namespace orventa::bar_code {
namespace {

constexpr uint32_t kNumberBits = 20;
constexpr uint32_t kChecksumBits = 8;
constexpr uint32_t kStart = 0b1011;
constexpr uint32_t kStartBits = 4;
constexpr uint32_t kRowsOfPicture = 18;  // a bar's height is a part of the picture's
constexpr uint32_t kMinContrast = 64;    // between the start's white and black

// CRC-8, polynomial x^8 + x^2 + x + 1, from 0xFF so that 0 does not give 0.
uint32_t Checksum(uint32_t number) {
  uint32_t crc = 0xFF;
  for (uint32_t bit = kNumberBits; bit-- > 0;) {
    const uint32_t in = (number >> bit) & 1U;
    const uint32_t out = (crc >> 7U) & 1U;
    crc = (crc << 1U) & 0xFFU;
    if (in != out) crc ^= 0x07U;
  }
  return crc;
}

uint32_t CodeWord(uint32_t number) {
  number %= kNumbers;
  return kStart << (kNumberBits + kChecksumBits) | number << kChecksumBits | Checksum(number);
}

// The mean of the rectangle's middle: blur and ringing at its edges do not count.
uint32_t MeanOfMiddle(const LumaView& picture, PixelRect rect) {
  const uint32_t left = rect.left + rect.width / 4;
  const uint32_t top = rect.top + rect.height / 4;
  const uint32_t width = std::max(rect.width / 2, 1U);
  const uint32_t height = std::max(rect.height / 2, 1U);
  uint64_t sum = 0;
  for (uint32_t y = top; y < top + height; ++y) {
    const uint8_t* const row = picture.pixels + picture.stride * y;
    for (uint32_t x = left; x < left + width; ++x) sum += row[x];
  }
  return static_cast<uint32_t>(sum / (uint64_t{width} * height));
}

struct Levels {
  uint32_t black = 0;
  uint32_t white = 0;
};

// The start's own black and white, as far apart as they must be.
std::optional<Levels> StartLevels(const std::array<uint32_t, kCells>& means) {
  Levels levels;
  for (uint32_t i = 0; i < kStartBits; ++i) {
    const bool white = ((kStart >> (kStartBits - 1 - i)) & 1U) != 0;
    if (white) {
      levels.white += means[i];
    } else {
      levels.black += means[i];
    }
  }
  levels.white /= 3;
  if (levels.white < levels.black + kMinContrast) return std::nullopt;
  return levels;
}

std::optional<uint32_t> ReadRow(const LumaView& picture, Row row, std::optional<Levels>& levels) {
  std::array<uint32_t, kCells> means;
  for (uint32_t i = 0; i < kCells; ++i) {
    means[i] = MeanOfMiddle(picture, CellRect(row, i, picture.width, picture.height));
  }
  levels = StartLevels(means);
  if (!levels) return std::nullopt;
  Cells cells;
  const uint32_t middle = (levels->black + levels->white) / 2;
  const uint32_t margin = (levels->white - levels->black) / 8;
  for (uint32_t i = 0; i < kCells; ++i) {
    cells[i] = means[i] > middle;
    // A grey cell is a blend of two frames, not a bit.
    if (means[i] + margin > middle && means[i] < middle + margin) return std::nullopt;
  }
  return Decode(cells);
}

}  // namespace

Cells Encode(uint32_t number) {
  const uint32_t word = CodeWord(number);
  Cells cells;
  for (uint32_t i = 0; i < kCells; ++i) cells[i] = ((word >> (kCells - 1 - i)) & 1U) != 0;
  return cells;
}

std::optional<uint32_t> Decode(const Cells& cells) {
  uint32_t word = 0;
  for (const bool cell : cells) word = word << 1U | (cell ? 1U : 0U);
  const uint32_t number = (word >> kChecksumBits) % kNumbers;
  if (word != CodeWord(number)) return std::nullopt;
  return number;
}

PixelRect CellRect(Row row, uint32_t cell, uint32_t width, uint32_t height) {
  const uint32_t bar = std::max(height / kRowsOfPicture, 1U);
  PixelRect rect;
  rect.left = width * cell / kCells;
  rect.width = width * (cell + 1) / kCells - rect.left;
  rect.top = row == Row::Top ? 0 : height - bar;
  rect.height = bar;
  return rect;
}

PixelRect FlashRect(uint32_t width, uint32_t height) {
  return {width * 3 / 8, height * 3 / 8, width / 4, height / 4};
}

Reading Read(const LumaView& picture) {
  Reading reading;
  if (picture.width < kCells || picture.height < kRowsOfPicture) return reading;
  std::optional<Levels> top_levels;
  std::optional<Levels> bottom_levels;
  reading.top = ReadRow(picture, Row::Top, top_levels);
  reading.bottom = ReadRow(picture, Row::Bottom, bottom_levels);
  const std::optional<Levels>& levels = top_levels ? top_levels : bottom_levels;
  if (levels) {
    const uint32_t patch = MeanOfMiddle(picture, FlashRect(picture.width, picture.height));
    reading.flash = patch > (levels->black + levels->white) / 2;
  }
  return reading;
}

}  // namespace orventa::bar_code
