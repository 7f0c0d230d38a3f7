#include "encoders/encoders_win/frame_texture.h"

#include "base/text.h"

namespace orventa {
namespace {

PixelFormat WantedPicture(const EncoderSettings& settings) {
  switch (settings.input_format) {
    case EncoderInput::Nv12: break;
    case EncoderInput::P010: return PixelFormat::P010;
    case EncoderInput::Bgra: return PixelFormat::Bgra8;
  }
  return PixelFormat::Nv12;
}

}  // namespace

Status FrameTexture(const EncoderFrame& frame, const EncoderSettings& settings,
                    const D3d11Picture*& picture) {
  picture = frame.picture ? D3d11Picture::From(*frame.picture) : nullptr;
  if (picture == nullptr || picture->texture() == nullptr) {
    return {StatusCode::InvalidArgument, "null input texture"};
  }
  if (picture->width() == settings.width && picture->height() == settings.height &&
      picture->format() == WantedPicture(settings)) {
    return Status::Ok();
  }
  return {StatusCode::InvalidArgument,
          Format("the picture of %ux%u does not fit the encoder of %ux%u", picture->width(),
                 picture->height(), settings.width, settings.height)};
}

}  // namespace orventa
