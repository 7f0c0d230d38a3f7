#include "convert/memory_converter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "convert/code_frame.h"
#include "convert/colour.h"
#include "convert/float_frame.h"
#include "convert/geometry.h"

namespace orventa {
namespace {

// Light divided by less than this leaves the range of floats.
constexpr float kLeastSdrWhite = 1e-6F;

void FillRows(const PlaneView& plane, size_t words, size_t rows, uint16_t value) {
  for (size_t y = 0; y < rows; ++y) {
    for (size_t x = 0; x < words; ++x) {
      std::memcpy(plane.data + y * plane.stride + 2 * x, &value, sizeof(value));
    }
  }
}

constexpr size_t IndexOf(DrawnClass drawn) {
  return static_cast<size_t>(drawn);
}

class MemoryConverter final : public IFrameConverter {
 public:
  MemoryConverter(const ConverterSettings& settings, const Geometry& geometry,
                  Instructions instructions)
      : settings_(settings), geometry_(geometry) {
    const FrameTaps taps = MakeFrameTaps(geometry);
    if (settings.hdr_input) {
      light_.emplace(geometry, taps, settings.hdr10 ? Shade::Hdr10 : Shade::Sdr, instructions);
    }
    if (!settings.hdr10 && settings.ten_bit) {
      wide_codes_.emplace(geometry, taps, Shade::Codes, instructions);
    }
    if (!settings.hdr10 && !settings.ten_bit) codes_.emplace(geometry, taps, instructions);

    pool_.reserve(settings.pool_size);
    for (uint32_t i = 0; i < settings.pool_size; ++i) {
      pool_.push_back(AllocateBlack(settings.ten_bit ? PixelFormat::P010 : PixelFormat::Nv12,
                                    settings.width, settings.height));
    }
    BuildTones();
  }

  Status Convert(const PictureRef& input, PictureRef& output) override {
    if (input == nullptr) return {StatusCode::InvalidArgument, "no picture to convert"};
    if (Status status = CheckInput(settings_, *input); !status.ok()) return status;
    const MemoryPicture& from = *input->InMemory();
    const std::shared_ptr<MemoryPicture>& to = pool_[next_];
    next_ = (next_ + 1) % pool_.size();

    const Tone& tone = tones_[IndexOf(drawn_class_)];
    if (from.format() == PixelFormat::RgbaHalf) {
      light_->Paint(from, tone, *to);
    } else if (wide_codes_.has_value()) {
      wide_codes_->Paint(from, tone, *to);
    } else {
      codes_->Paint(from, *to);
    }
    output = to;
    return Status::Ok();
  }

  Status SetTone(float sdr_white, float peak) override {
    if (Status status = CheckTone(sdr_white, peak); !status.ok()) return status;
    settings_.sdr_white = sdr_white;
    settings_.peak = peak;
    BuildTones();
    return Status::Ok();
  }

  Status RaisePeak(float ratio) override {
    if (!std::isfinite(ratio)) return {StatusCode::InvalidArgument, "the peak is not a number"};
    if (ratio <= settings_.peak) return Status::Ok();
    return SetTone(settings_.sdr_white, ratio);
  }

  void SetDrawnClass(DrawnClass drawn) override { drawn_class_ = drawn; }

 private:
  void BuildTones() {
    for (const DrawnClass drawn :
         {DrawnClass::HdrOrUnknown, DrawnClass::Sdr8Bit, DrawnClass::Sdr10Bit}) {
      tones_[IndexOf(drawn)] = MakeTone(settings_.sdr_white, settings_.peak, drawn, geometry_);
    }
  }

  ConverterSettings settings_;
  Geometry geometry_;
  std::optional<FloatFrame> light_;       // scRGB
  std::optional<FloatFrame> wide_codes_;  // codes to P010
  std::optional<CodeFrame> codes_;        // codes to NV12
  std::array<Tone, 3> tones_;
  DrawnClass drawn_class_ = DrawnClass::HdrOrUnknown;
  std::vector<std::shared_ptr<MemoryPicture>> pool_;
  size_t next_ = 0;
};

}  // namespace

Status CheckTone(float sdr_white, float peak) {
  if (!std::isfinite(sdr_white) || sdr_white < kLeastSdrWhite) {
    return {StatusCode::InvalidArgument, "the SDR white level must be above 0"};
  }
  if (!std::isfinite(peak)) return {StatusCode::InvalidArgument, "the peak is not a number"};
  return Status::Ok();
}

Status CheckInput(const ConverterSettings& settings, const Picture& input) {
  if (input.InMemory() == nullptr) {
    return {StatusCode::InvalidArgument, "the picture to convert is not in memory"};
  }
  if (input.width() != settings.input_width || input.height() != settings.input_height) {
    return {StatusCode::InvalidArgument, "the picture is not of the converter's input size"};
  }
  const bool fits = (input.format() == PixelFormat::RgbaHalf && settings.hdr_input) ||
                    (input.format() == PixelFormat::Bgra8 && !settings.hdr10);
  if (!fits) return {StatusCode::InvalidArgument, "the picture is not of the converter's format"};
  return Status::Ok();
}

std::shared_ptr<MemoryPicture> AllocateBlack(PixelFormat format, uint32_t width, uint32_t height) {
  auto picture = MemoryPicture::Allocate(format, width, height);
  const PlaneView& luma = picture->plane(0);
  const PlaneView& chroma = picture->plane(1);
  if (format == PixelFormat::P010) {
    FillRows(luma, width, height, kBlackLuma10 << kP010Shift);
    FillRows(chroma, width, height / 2, kNoChroma10 << kP010Shift);
  } else {
    std::memset(luma.data, kBlackLuma8, luma.stride * height);
    std::memset(chroma.data, kNoChroma8, chroma.stride * (height / 2));
  }
  return picture;
}

Status MakeMemoryConverterFor(Instructions instructions, const ConverterSettings& settings,
                              std::unique_ptr<IFrameConverter>& out) {
  Geometry geometry;
  if (Status status = MakeGeometry(settings, geometry); !status.ok()) return status;
  if (Status status = CheckTone(settings.sdr_white, settings.peak); !status.ok()) return status;
  if (settings.pool_size == 0) {
    return {StatusCode::InvalidArgument, "the converter's pool has no pictures"};
  }
  if (settings.hdr10 && !settings.hdr_input) {
    return {StatusCode::InvalidArgument, "HDR10 is made from scRGB only"};
  }
  try {
    out = std::make_unique<MemoryConverter>(settings, geometry, instructions);
  } catch (const std::bad_alloc&) {
    return {StatusCode::OutOfMemory, "no memory for the converter's pictures"};
  }
  return Status::Ok();
}

Status MakeMemoryConverter(const ConverterSettings& settings,
                           std::unique_ptr<IFrameConverter>& out) {
  return MakeMemoryConverterFor(BestInstructions(), settings, out);
}

}  // namespace orventa
