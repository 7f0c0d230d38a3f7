// The reference's sampling against one of another make: in doubles, every texel of
// the picture under a tent of the tap's.
#include <gtest/gtest.h>

#include <cmath>

#include "convert/reference.h"
#include "pictures.h"

namespace orventa {
namespace {

struct Window {
  double left, top, width, height;
};

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
  ConverterSettings settings;
  settings.input_width = width;
  settings.input_height = height;
  settings.width = out_width;
  settings.height = out_height;
  settings.source_rect = rect;
  std::shared_ptr<const MemoryPicture> out;
  ASSERT_TRUE(ReferenceConvert(settings, DrawnClass::HdrOrUnknown, *picture, out).ok());
  if (rect.width == 0) rect = {0, 0, width, height};

  const auto weights = [&](bool down, int pixels, int pixel, int taps) {
    return down ? AxisWeights(rect.top, rect.height, static_cast<int>(height), pixels, pixel, taps)
                : AxisWeights(rect.left, rect.width, static_cast<int>(width), pixels, pixel, taps);
  };
  const auto near = [](uint32_t code, double exact) { return std::abs(code - exact) < 0.502; };
  for (int y = 0; y < static_cast<int>(out_height); ++y) {
    for (int x = 0; x < static_cast<int>(out_width); ++x) {
      const auto c = Average(*picture, weights(false, static_cast<int>(out_width), x, luma_taps),
                             weights(true, static_cast<int>(out_height), y, luma_taps));
      const double luma = 16 + 219 * (0.2126 * c[2] + 0.7152 * c[1] + 0.0722 * c[0]) / 255;
      ASSERT_PRED2(near, test::CodeAt(*out, 0, static_cast<size_t>(x), static_cast<size_t>(y)),
                   luma)
          << x << "," << y;
    }
  }
  for (int y = 0; y < static_cast<int>(out_height) / 2; ++y) {
    for (int x = 0; x < static_cast<int>(out_width) / 2; ++x) {
      const auto c =
          Average(*picture, weights(false, static_cast<int>(out_width) / 2, x, chroma_taps),
                  weights(true, static_cast<int>(out_height) / 2, y, chroma_taps));
      const double cb = 128 + 224 * (-0.1146 * c[2] - 0.3854 * c[1] + 0.5 * c[0]) / 255;
      const double cr = 128 + 224 * (0.5 * c[2] - 0.4542 * c[1] - 0.0458 * c[0]) / 255;
      const auto at = static_cast<size_t>(2 * x);
      ASSERT_PRED2(near, test::CodeAt(*out, 1, at, static_cast<size_t>(y)), cb) << x << "," << y;
      ASSERT_PRED2(near, test::CodeAt(*out, 1, at + 1, static_cast<size_t>(y)), cr)
          << x << "," << y;
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
