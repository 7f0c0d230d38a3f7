#include "tools/demo_game/scene.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace orventa {
namespace {

constexpr uint32_t kBlack = 0x000000;
constexpr uint32_t kWhite = 0xFFFFFF;
constexpr uint32_t kBandHeight = 24;
constexpr uint32_t kRepeat = 512;  // a landscape is as wide as the picture and this

void Fill(PixelRect rect, uint32_t colour, uint32_t* pixels, size_t stride) {
  for (uint32_t y = rect.top; y < rect.top + rect.height; ++y) {
    std::fill_n(pixels + stride * y + rect.left, rect.width, colour);
  }
}

void DrawCode(bar_code::Row row, const bar_code::Cells& cells, uint32_t width, uint32_t height,
              uint32_t* pixels, size_t stride) {
  for (uint32_t cell = 0; cell < bar_code::kCells; ++cell) {
    Fill(bar_code::CellRect(row, cell, width, height), cells[cell] ? kWhite : kBlack, pixels,
         stride);
  }
}

// Hills of colour with some grain: neither flat nor noise, as a game's picture is.
uint32_t LandscapeColour(uint32_t x, uint32_t y) {
  constexpr double kTurn = 6.283185307179586 / kRepeat;
  const double u = kTurn * x;
  const double v = 0.021 * y;
  const auto channel = [](double wave) { return static_cast<uint32_t>(127.5 + 90.0 * wave); };
  const uint32_t grain = ((x % kRepeat) * 2654435761U + y * 40503U) >> 28U;
  const uint32_t red = channel(std::sin(3 * u + v)) + grain;
  const uint32_t green = channel(std::sin(7 * u - 2 * v)) + grain;
  const uint32_t blue = channel(std::cos(11 * u + 3 * v)) + grain;
  return red << 16U | green << 8U | blue;
}

}  // namespace

Scene::Scene(uint32_t width, uint32_t height)
    : width_(width),
      height_(height),
      landscape_width_(width + kRepeat),
      landscape_(size_t{landscape_width_} * height) {
  for (uint32_t y = 0; y < height; ++y) {
    uint32_t* const row = &landscape_[size_t{landscape_width_} * y];
    for (uint32_t x = 0; x < landscape_width_; ++x) {
      row[x] = x < kRepeat ? LandscapeColour(x, y) : row[x - kRepeat];
    }
  }
}

void Scene::Draw(uint32_t number, bool flash, uint32_t* pixels, size_t stride) const {
  DrawBands(number, pixels, stride);
  const bar_code::Cells cells = bar_code::Encode(number);
  DrawCode(bar_code::Row::Top, cells, width_, height_, pixels, stride);
  DrawCode(bar_code::Row::Bottom, cells, width_, height_, pixels, stride);
  Fill(bar_code::FlashRect(width_, height_), flash ? kWhite : kBlack, pixels, stride);
}

// Neighbouring bands slide in opposite directions, at one to seven pixels a frame.
void Scene::DrawBands(uint32_t number, uint32_t* pixels, size_t stride) const {
  for (uint32_t y = 0; y < height_; ++y) {
    const uint32_t band = y / kBandHeight;
    const uint32_t speed = 1 + band * 5 % 7;
    const uint32_t slid = number * speed % kRepeat;
    const uint32_t from = band % 2 == 0 ? slid : kRepeat - 1 - slid;
    std::memcpy(pixels + stride * y, &landscape_[size_t{landscape_width_} * y + from],
                size_t{width_} * sizeof *pixels);
  }
}

}  // namespace orventa
