// The reference's sampling against one of another make: in doubles, every texel of
// the picture under a tent of the tap's.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "convert/reference.h"
#include "pictures.h"

namespace orventa {
namespace {

// The weight of a texel for a bilinear tap at `position`, with the edges repeated
// outwards for ever.
double Tent(double position, int texel, int size) {
  double weight = 0;
  for (int at = -2; at < size + 2; ++at) {
    if (std::clamp(at, 0, size - 1) != texel) continue;
    weight += std::max(0.0, 1.0 - std::abs(position - (at + 0.5)));
  }
  return weight;
}

std::vector<double> AxisWeights(double origin, double extent, int size, int pixels, int pixel,
                                int taps) {
  std::vector<double> weights(static_cast<size_t>(size));
  for (int tap = 0; tap < taps; ++tap) {
    const double position = origin + extent / pixels * (pixel + (tap + 0.5) / taps);
    for (int texel = 0; texel < size; ++texel) {
      weights[static_cast<size_t>(texel)] += Tent(position, texel, size) / taps;
    }
  }
  return weights;
}

std::array<double, 3> Average(const MemoryPicture& picture, const std::vector<double>& across,
                              const std::vector<double>& down) {
  std::array<double, 3> bgr{};
  for (size_t y = 0; y < down.size(); ++y) {
    for (size_t x = 0; x < across.size(); ++x) {
      const uint8_t* p = picture.plane(0).data + y * picture.plane(0).stride + 4 * x;
      for (size_t i = 0; i < 3; ++i) bgr[i] += across[x] * down[y] * p[i];
    }
  }
  return bgr;
}

void Compare(uint32_t width, uint32_t height, SourceRect rect, uint32_t out_width,
             uint32_t out_height, int luma_taps, int chroma_taps) {
  SCOPED_TRACE(testing::Message() << width << "x" << height << " to " << out_width << "x"
                                  << out_height);
  const auto picture = test::NoiseCodes(width, height, width * 31 + height, 5);
  ConverterSettings settings = test::SettingsFor(width, height, out_width, out_height);
  settings.source_rect = rect;
  std::shared_ptr<const MemoryPicture> out;
  ASSERT_TRUE(ReferenceConvert(settings, DrawnClass::HdrOrUnknown, *picture, out).ok());
  if (rect.width == 0) rect = {0, 0, width, height};

  // Blue, green, red.
  constexpr std::array<double, 3> kLuma = {0.0722, 0.7152, 0.2126};
  constexpr std::array<double, 3> kCb = {0.5, -0.3854, -0.1146};
  constexpr std::array<double, 3> kCr = {-0.0458, -0.4542, 0.5};
  const auto hold = [&](size_t plane, size_t x, size_t y, double exact) {
    ASSERT_NEAR(test::CodeAt(*out, plane, x, y), exact, 0.502) << plane << ": " << x << "," << y;
  };
  for (const size_t plane : {0U, 1U}) {
    const int columns = static_cast<int>(out_width) / (plane == 0 ? 1 : 2);
    const int rows = static_cast<int>(out_height) / (plane == 0 ? 1 : 2);
    const int taps = plane == 0 ? luma_taps : chroma_taps;
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < columns; ++x) {
        const auto c = Average(
            *picture, AxisWeights(rect.left, rect.width, static_cast<int>(width), columns, x, taps),
            AxisWeights(rect.top, rect.height, static_cast<int>(height), rows, y, taps));
        const auto sum = [&](const std::array<double, 3>& weights) {
          return std::inner_product(c.begin(), c.end(), weights.begin(), 0.0) / 255;
        };
        const auto column = static_cast<size_t>(x);
        const auto row = static_cast<size_t>(y);
        if (plane == 0) {
          hold(0, column, row, 16 + 219 * sum(kLuma));
        } else {
          hold(1, 2 * column, row, 128 + 224 * sum(kCb));
          hold(1, 2 * column + 1, row, 128 + 224 * sum(kCr));
        }
      }
    }
  }
}

TEST(Sampling, AgreesWithTents) {
  Compare(16, 8, {}, 16, 8, 1, 1);
  Compare(16, 8, {}, 32, 16, 1, 1);
  Compare(24, 12, {}, 16, 8, 1, 2);
  Compare(32, 16, {}, 16, 8, 1, 2);
  Compare(40, 20, {}, 16, 8, 2, 3);
  Compare(64, 32, {}, 16, 8, 2, 4);
  Compare(80, 40, {}, 8, 4, 4, 4);
  Compare(33, 17, {7, 3, 20, 10}, 16, 8, 1, 2);
  Compare(33, 17, {5, 1, 16, 8}, 16, 8, 1, 1);
}

}  // namespace
}  // namespace orventa
