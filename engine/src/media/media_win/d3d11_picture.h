// A picture in a texture on the graphics card: captured ones and the frames that
// encoders take. Any thread may hold one; what may be done with the texture and when
// is its maker's to say.
#pragma once

#include <d3d11.h>
#include <wrl/client.h>

#include <cstdint>
#include <utility>

#include "media/picture.h"

namespace orventa {

class D3d11Picture final : public Picture {
 public:
  D3d11Picture(PixelFormat format, uint32_t width, uint32_t height,
               Microsoft::WRL::ComPtr<ID3D11Texture2D> texture, uint32_t sub_resource = 0)
      : Picture(format, width, height), texture_(std::move(texture)), sub_resource_(sub_resource) {}

  // The picture as one in a texture; null for any other.
  static const D3d11Picture* From(const Picture& picture) {
    return dynamic_cast<const D3d11Picture*>(&picture);
  }

  ID3D11Texture2D* texture() const { return texture_.Get(); }
  // Of textures that hold several pictures, as decoders make them.
  uint32_t sub_resource() const { return sub_resource_; }

 private:
  Microsoft::WRL::ComPtr<ID3D11Texture2D> texture_;
  const uint32_t sub_resource_;
};

}  // namespace orventa
