#include "convert/tones.h"

#include <cmath>

#include "convert/converter_checks.h"

namespace orventa {

Tones::Tones(const ConverterSettings& settings, const Geometry& geometry)
    : geometry_(geometry), sdr_white_(settings.sdr_white), peak_(settings.peak) {
  Build();
}

Status Tones::Set(float sdr_white, float peak) {
  if (Status status = CheckTone(sdr_white, peak); !status.ok()) return status;
  sdr_white_ = sdr_white;
  peak_ = peak;
  Build();
  return Status::Ok();
}

Status Tones::RaisePeak(float ratio) {
  if (!std::isfinite(ratio)) return {StatusCode::InvalidArgument, "the peak is not a number"};
  return ratio <= peak_ ? Status::Ok() : Set(sdr_white_, ratio);
}

void Tones::Build() {
  for (const DrawnClass drawn : kDrawnClasses) {
    tones_[static_cast<size_t>(drawn)] = MakeTone(sdr_white_, peak_, drawn, geometry_);
  }
}

}  // namespace orventa
