// What every converter refuses, with the words it says. Pure; any thread.
#pragma once

#include "base/status.h"
#include "convert/converter.h"
#include "convert/geometry.h"
#include "media/picture.h"

namespace orventa {

// InvalidArgument unless a converter can be made with them.
Status CheckConverterSettings(const ConverterSettings& settings, Geometry& geometry);

// InvalidArgument unless `sdr_white` is above 0 and both can be reckoned with.
Status CheckTone(float sdr_white, float peak);

// InvalidArgument unless the picture has the size and a format that the converter
// takes: half floats when made for them; codes always, as a capture on an HDR display
// may go over to them, but never to write HDR10.
Status CheckPicture(const ConverterSettings& settings, const Picture& input);

}  // namespace orventa
