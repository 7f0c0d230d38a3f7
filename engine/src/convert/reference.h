// The conversion as the pixel shaders do it, pixel by pixel and without a thought
// for speed: what the fast ways and the shaders themselves are held against. Any
// thread.
#pragma once

#include "base/status.h"
#include "convert/converter.h"
#include "media/memory_picture.h"

namespace orventa {

// Makes `out`, black outside the target rectangle, from `input`, whose format
// decides between codes and scRGB as in `IFrameConverter::Convert`. The pool's size
// in `settings` is not looked at.
Status ReferenceConvert(const ConverterSettings& settings, DrawnClass drawn,
                        const MemoryPicture& input, std::shared_ptr<const MemoryPicture>& out);

}  // namespace orventa
