// "1280x720" as two numbers. Used by the demo game and the bar code reader.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "base/text.h"

namespace orventa {

struct PictureSize {
  uint32_t width = 0;
  uint32_t height = 0;
};

// From 64x64 to 16384x16384; none for anything else.
inline std::optional<PictureSize> ParsePictureSize(std::string_view text) {
  const std::vector<std::string_view> parts = Split(text, 'x');
  if (parts.size() != 2) return std::nullopt;
  const auto width = ParseUnsigned(parts[0]);
  const auto height = ParseUnsigned(parts[1]);
  if (!width || !height) return std::nullopt;
  if (*width < 64 || *width > 16384 || *height < 64 || *height > 16384) return std::nullopt;
  return PictureSize{static_cast<uint32_t>(*width), static_cast<uint32_t>(*height)};
}

}  // namespace orventa
