#include "convert/reference.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "convert/converter_checks.h"
#include "convert/geometry.h"
#include "convert/half_pixels.h"
#include "convert/memory_converter.h"

namespace orventa {
namespace {

enum class Mode { Codes, Hdr10, Sdr };

struct Shader {
  const MemoryPicture& source;
  const Geometry& geometry;
  const Tone& tone;
  Mode mode;

  Rgb Load(uint32_t x, uint32_t y) const {
    const uint8_t* row = source.plane(0).data + y * source.plane(0).stride;
    if (source.format() == PixelFormat::Bgra8) {
      const uint8_t* p = row + size_t{x} * 4;
      return {static_cast<float>(p[2]) / 255.0F, static_cast<float>(p[1]) / 255.0F,
              static_cast<float>(p[0]) / 255.0F};
    }
    const uint8_t* p = row + size_t{x} * 8;
    return {SanitisedHalf(ReadHalf(p)), SanitisedHalf(ReadHalf(p + 2)),
            SanitisedHalf(ReadHalf(p + 4))};
  }

  // The sampler: bilinear, clamped to the edge; in texels, the first's middle at 0.
  Rgb Sample(double x, double y) const {
    const double left = std::floor(x);
    const double top = std::floor(y);
    const auto along = static_cast<float>(x - left);
    const auto down = static_cast<float>(y - top);
    const auto column = [this](double at) {
      return static_cast<uint32_t>(std::clamp(at, 0.0, source.width() - 1.0));
    };
    const auto row = [this](double at) {
      return static_cast<uint32_t>(std::clamp(at, 0.0, source.height() - 1.0));
    };
    const auto mix = [](Rgb a, Rgb b, float part) {
      return Rgb{a.r + (b.r - a.r) * part, a.g + (b.g - a.g) * part, a.b + (b.b - a.b) * part};
    };
    const Rgb upper = mix(Load(column(left), row(top)), Load(column(left + 1), row(top)), along);
    const Rgb lower =
        mix(Load(column(left), row(top + 1)), Load(column(left + 1), row(top + 1)), along);
    return mix(upper, lower, down);
  }

  Rgb Transform(Rgb c) const {
    switch (mode) {
      case Mode::Codes: return c;
      case Mode::Hdr10: return ScrgbToHdr10(c);
      case Mode::Sdr: return ScrgbToSdr(c, tone);
    }
    return c;
  }

  // One pixel of a plane `width` by `height` that spans the source rectangle.
  Rgb Box(uint32_t x, uint32_t y, uint32_t width, uint32_t height, uint32_t taps) const {
    const SourceRect& from = geometry.source;
    Rgb sum;
    for (uint32_t j = 0; j < taps; ++j) {
      for (uint32_t i = 0; i < taps; ++i) {
        const Rgb c = Transform(Sample(TapPosition(from.left, from.width, width, x, i, taps),
                                       TapPosition(from.top, from.height, height, y, j, taps)));
        sum = {sum.r + c.r, sum.g + c.g, sum.b + c.b};
      }
    }
    const auto count = static_cast<float>(taps * taps);
    return {sum.r / count, sum.g / count, sum.b / count};
  }
};

void StoreCode(const PlaneView& plane, size_t index, size_t row, uint8_t code) {
  plane.data[row * plane.stride + index] = code;
}
void StoreCode(const PlaneView& plane, size_t index, size_t row, uint16_t code) {
  std::memcpy(plane.data + row * plane.stride + index * 2, &code, sizeof(code));
}

void Draw(const Shader& shader, const MemoryPicture& out) {
  const Primaries primaries = shader.mode == Mode::Hdr10 ? Primaries::Bt2020 : Primaries::Bt709;
  const bool ten_bit = out.format() == PixelFormat::P010;
  const Geometry& g = shader.geometry;
  const PlacedRect& to = g.target;
  for (uint32_t y = 0; y < to.height; ++y) {
    for (uint32_t x = 0; x < to.width; ++x) {
      const float luma = Luma(shader.Box(x, y, to.width, to.height, g.luma_taps), primaries);
      if (ten_bit) {
        StoreCode(out.plane(0), to.left + x, to.top + y, QuantiseLuma10(luma));
      } else {
        StoreCode(out.plane(0), to.left + x, to.top + y, QuantiseLuma8(luma));
      }
    }
  }
  for (uint32_t y = 0; y < to.height / 2; ++y) {
    for (uint32_t x = 0; x < to.width / 2; ++x) {
      const Chroma chroma =
          ToChroma(shader.Box(x, y, to.width / 2, to.height / 2, g.chroma_taps), primaries);
      const size_t index = to.left + size_t{2} * x;
      const size_t row = to.top / 2 + y;
      if (ten_bit) {
        StoreCode(out.plane(1), index, row, QuantiseChroma10(chroma.cb));
        StoreCode(out.plane(1), index + 1, row, QuantiseChroma10(chroma.cr));
      } else {
        StoreCode(out.plane(1), index, row, QuantiseChroma8(chroma.cb));
        StoreCode(out.plane(1), index + 1, row, QuantiseChroma8(chroma.cr));
      }
    }
  }
}

}  // namespace

Status ReferenceConvert(const ConverterSettings& settings, DrawnClass drawn,
                        const MemoryPicture& input, std::shared_ptr<const MemoryPicture>& out) {
  Geometry geometry;
  if (Status status = MakeGeometry(settings, geometry); !status.ok()) return status;
  if (Status status = CheckTone(settings.sdr_white, settings.peak); !status.ok()) return status;
  if (Status status = CheckInput(settings, input); !status.ok()) return status;
  const Tone tone = MakeTone(settings.sdr_white, settings.peak, drawn, geometry);
  Mode mode = Mode::Codes;
  if (input.format() == PixelFormat::RgbaHalf) mode = settings.hdr10 ? Mode::Hdr10 : Mode::Sdr;

  auto picture = AllocateBlack(settings.ten_bit ? PixelFormat::P010 : PixelFormat::Nv12,
                               settings.width, settings.height);
  Draw({input, geometry, tone, mode}, *picture);
  out = std::move(picture);
  return Status::Ok();
}

}  // namespace orventa
