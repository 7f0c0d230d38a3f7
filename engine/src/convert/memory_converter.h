// The parts of the conversion in memory that its reference and its tests share.
// Users take `MakeMemoryConverter` of converter.h.
#pragma once

#include <memory>

#include "base/instructions.h"
#include "base/status.h"
#include "convert/converter.h"
#include "media/memory_picture.h"

namespace orventa {

// CheckPicture for one that lies in memory.
Status CheckInput(const ConverterSettings& settings, const Picture& input);

// A NV12 or P010 picture, black all over.
std::shared_ptr<MemoryPicture> AllocateBlack(PixelFormat format, uint32_t width, uint32_t height);

Status MakeMemoryConverterFor(Instructions instructions, const ConverterSettings& settings,
                              std::unique_ptr<IFrameConverter>& out);

}  // namespace orventa
