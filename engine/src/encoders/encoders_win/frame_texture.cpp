#include "encoders/encoders_win/frame_texture.h"

#include "encoders/card_rules.h"

namespace orventa {

Status FrameTexture(const EncoderFrame& frame, const EncoderSettings& settings,
                    const D3d11Picture*& picture) {
  picture = frame.picture ? D3d11Picture::From(*frame.picture) : nullptr;
  if (picture == nullptr || picture->texture() == nullptr) {
    return {StatusCode::InvalidArgument, "null input texture"};
  }
  return CheckPicture(*picture, settings);
}

}  // namespace orventa
