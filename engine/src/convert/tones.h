// The three tones of a converter, one for each class of content, and the display
// values that they are made from. Engine thread.
#pragma once

#include <array>
#include <cstddef>

#include "base/status.h"
#include "convert/colour.h"
#include "convert/converter.h"
#include "convert/geometry.h"

namespace orventa {

class Tones {
 public:
  // The values of `settings` must have passed CheckTone.
  Tones(const ConverterSettings& settings, const Geometry& geometry);

  // As `IFrameConverter` has them; refused values change nothing.
  Status Set(float sdr_white, float peak);
  Status RaisePeak(float ratio);

  const Tone& Of(DrawnClass drawn) const { return tones_[static_cast<size_t>(drawn)]; }

 private:
  void Build();

  const Geometry geometry_;
  float sdr_white_;
  float peak_;
  std::array<Tone, kDrawnClasses.size()> tones_;
};

}  // namespace orventa
