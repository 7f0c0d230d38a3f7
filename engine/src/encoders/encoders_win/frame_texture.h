// The texture in a frame that is handed to an encoder. Pure function, any thread.
#pragma once

#include "encoders/encoder.h"
#include "media/media_win/d3d11_picture.h"

namespace orventa {

// InvalidArgument when there is none, or when it is not what the settings promised.
// `picture` is valid as long as the frame's picture is.
Status FrameTexture(const EncoderFrame& frame, const EncoderSettings& settings,
                    const D3d11Picture*& picture);

}  // namespace orventa
