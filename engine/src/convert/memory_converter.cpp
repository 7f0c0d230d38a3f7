#include "convert/memory_converter.h"

#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "convert/code_frame.h"
#include "convert/colour.h"
#include "convert/converter_checks.h"
#include "convert/float_frame.h"
#include "convert/geometry.h"
#include "convert/tones.h"

namespace orventa {
namespace {

void FillRows(const PlaneView& plane, size_t words, size_t rows, uint16_t value) {
  for (size_t y = 0; y < rows; ++y) {
    for (size_t x = 0; x < words; ++x) {
      std::memcpy(plane.data + y * plane.stride + 2 * x, &value, sizeof(value));
    }
  }
}

class MemoryConverter final : public IFrameConverter {
 public:
  MemoryConverter(const ConverterSettings& settings, const Geometry& geometry,
                  Instructions instructions)
      : settings_(settings), tones_(settings, geometry) {
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
  }

  Status Convert(const PictureRef& input, PictureRef& output) override {
    if (input == nullptr) return {StatusCode::InvalidArgument, "no picture to convert"};
    if (Status status = CheckInput(settings_, *input); !status.ok()) return status;
    const MemoryPicture& from = *input->InMemory();
    const std::shared_ptr<MemoryPicture>& to = pool_[next_];
    next_ = (next_ + 1) % pool_.size();

    const Tone& tone = tones_.Of(drawn_class_);
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

  Status SetTone(float sdr_white, float peak) override { return tones_.Set(sdr_white, peak); }

  Status RaisePeak(float ratio) override { return tones_.RaisePeak(ratio); }

  void SetDrawnClass(DrawnClass drawn) override { drawn_class_ = drawn; }

 private:
  const ConverterSettings settings_;
  std::optional<FloatFrame> light_;       // scRGB
  std::optional<FloatFrame> wide_codes_;  // codes to P010
  std::optional<CodeFrame> codes_;        // codes to NV12
  Tones tones_;
  DrawnClass drawn_class_ = DrawnClass::HdrOrUnknown;
  std::vector<std::shared_ptr<MemoryPicture>> pool_;
  size_t next_ = 0;
};

}  // namespace

Status CheckInput(const ConverterSettings& settings, const Picture& input) {
  if (input.InMemory() == nullptr) {
    return {StatusCode::InvalidArgument, "the picture to convert is not in memory"};
  }
  return CheckPicture(settings, input);
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
  if (Status status = CheckConverterSettings(settings, geometry); !status.ok()) return status;
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
