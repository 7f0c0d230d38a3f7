// What the opaque device and pictures of this platform are: a Direct3D 11 device
// and textures of it. Captures, converters and whoever makes devices fill these
// in; encoders and decoders take them apart. For the platform's own folders only.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <dxgi.h>
#include <wrl/client.h>

#include <cstdint>
#include <utility>

#include "media/graphics_device.h"
#include "media/picture.h"

namespace orventa {

// Which adapter a device is on, as far as encoders ask.
struct AdapterFacts {
  uint32_t vendor_id = 0;  // PCI numbers
  uint32_t device_id = 0;
  uint64_t luid = 0;
  // The user-mode driver's version: four parts of 16 bits, the first one highest.
  // 0 when the adapter does not tell.
  uint64_t driver_version = 0;
};
AdapterFacts ReadAdapterFacts(IDXGIAdapter& adapter);

class D3d11Device : public GraphicsDevice {
 public:
  // No new reference: valid for as long as this object lives.
  virtual ID3D11Device* device() const = 0;
  virtual const AdapterFacts& adapter() const = 0;
};

// A picture that is the whole of a texture without array slices or mip levels.
class D3d11Picture : public Picture {
 public:
  D3d11Picture(PixelFormat format, uint32_t width, uint32_t height,
               Microsoft::WRL::ComPtr<ID3D11Texture2D> texture)
      : Picture(format, width, height), texture_(std::move(texture)) {}

  // No new reference: valid for as long as this object lives.
  ID3D11Texture2D* texture() const { return texture_.Get(); }

 private:
  Microsoft::WRL::ComPtr<ID3D11Texture2D> texture_;
};

}  // namespace orventa
