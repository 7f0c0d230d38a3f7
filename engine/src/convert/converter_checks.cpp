#include "convert/converter_checks.h"

#include <cmath>

namespace orventa {
namespace {

// Light divided by less than this leaves the range of floats.
constexpr float kLeastSdrWhite = 1e-6F;

}  // namespace

Status CheckConverterSettings(const ConverterSettings& settings, Geometry& geometry) {
  if (Status status = MakeGeometry(settings, geometry); !status.ok()) return status;
  if (Status status = CheckTone(settings.sdr_white, settings.peak); !status.ok()) return status;
  if (settings.pool_size == 0) {
    return {StatusCode::InvalidArgument, "the converter's pool has no pictures"};
  }
  if (settings.hdr10 && !settings.hdr_input) {
    return {StatusCode::InvalidArgument, "HDR10 is made from scRGB only"};
  }
  return Status::Ok();
}

Status CheckTone(float sdr_white, float peak) {
  if (!std::isfinite(sdr_white) || sdr_white < kLeastSdrWhite) {
    return {StatusCode::InvalidArgument, "the SDR white level must be above 0"};
  }
  if (!std::isfinite(peak)) return {StatusCode::InvalidArgument, "the peak is not a number"};
  return Status::Ok();
}

Status CheckPicture(const ConverterSettings& settings, const Picture& input) {
  if (input.width() != settings.input_width || input.height() != settings.input_height) {
    return {StatusCode::InvalidArgument, "the picture is not of the converter's input size"};
  }
  const bool fits = (input.format() == PixelFormat::RgbaHalf && settings.hdr_input) ||
                    (input.format() == PixelFormat::Bgra8 && !settings.hdr10);
  if (!fits) return {StatusCode::InvalidArgument, "the picture is not of the converter's format"};
  return Status::Ok();
}

}  // namespace orventa
