// The demo game's picture: bands of a coloured landscape that slide past at their
// own speeds, the bar codes and the flash. Every frame differs from the last one
// everywhere outside the codes, yet costs little more than copying it. Portable;
// one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/demo_game/bar_code.h"

namespace orventa {

class Scene {
 public:
  Scene(uint32_t width, uint32_t height);

  // Draws a frame into 32-bit pixels of blue, green, red and nothing, `stride`
  // pixels from row to row.
  void Draw(uint32_t number, bool flash, uint32_t* pixels, size_t stride) const;

 private:
  void DrawBands(uint32_t number, uint32_t* pixels, size_t stride) const;

  const uint32_t width_;
  const uint32_t height_;
  const uint32_t landscape_width_;  // repeats after this many pixels
  std::vector<uint32_t> landscape_;
};

}  // namespace orventa
