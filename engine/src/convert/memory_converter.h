// The parts of the conversion in memory that its reference and its tests share.
// Users take `MakeMemoryConverter` of converter.h.
#pragma once

#include <memory>

#include "base/instructions.h"
#include "base/status.h"
#include "convert/converter.h"
#include "media/memory_picture.h"

namespace orventa {

// InvalidArgument unless `sdr_white` is above 0 and both can be reckoned with.
Status CheckTone(float sdr_white, float peak);

// InvalidArgument unless the picture lies in memory and has the size and a format
// that the converter takes: half floats when made for them; codes always, as a
// capture on an HDR display may go over to them, but never to write HDR10.
Status CheckInput(const ConverterSettings& settings, const Picture& input);

// A NV12 or P010 picture, black all over.
std::shared_ptr<MemoryPicture> AllocateBlack(PixelFormat format, uint32_t width, uint32_t height);

Status MakeMemoryConverterFor(Instructions instructions, const ConverterSettings& settings,
                              std::unique_ptr<IFrameConverter>& out);

}  // namespace orventa
