// The converter of the graphics card as Wine can have it: Wine's compiler takes no calls
// of functions, and its textures of two planes cannot be drawn into.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>

#include "convert/convert_win/frame_converter.h"
#include "media/memory_picture.h"
#include "tests/graphics_win/inline_calls.h"

namespace orventa::test {

using Texture = Microsoft::WRL::ComPtr<ID3D11Texture2D>;

inline Texture MakeTexture(ID3D11Device& device, DXGI_FORMAT format, uint32_t width,
                           uint32_t height, UINT bind, const PlaneView* from = nullptr,
                           D3D11_USAGE usage = {}) {
  const UINT access = usage == D3D11_USAGE_STAGING ? D3D11_CPU_ACCESS_READ : 0;
  const D3D11_TEXTURE2D_DESC wanted = {width, height, 1, 1, format, {1, 0}, usage, bind, access, 0};
  D3D11_SUBRESOURCE_DATA data{};
  if (from != nullptr) data = {from->data, static_cast<UINT>(from->stride), 0};
  Texture texture;
  EXPECT_TRUE(
      SUCCEEDED(device.CreateTexture2D(&wanted, from != nullptr ? &data : nullptr, &texture)));
  return texture;
}

// A picture's texture is its luma; the chroma lies here, and must outlive the converter.
using ChromaPlanes = std::map<const Picture*, Texture>;

inline ConverterParts WineConverterParts(ChromaPlanes& chroma_of) {
  ConverterParts parts;
  parts.compile = CompileForWine;
  parts.make_target = [&chroma_of](ID3D11Device& device, PixelFormat format, uint32_t width,
                                   uint32_t height, PlanarTarget& out) {
    const bool wide = format == PixelFormat::P010;
    const Texture luma = MakeTexture(device, wide ? DXGI_FORMAT_R16_UNORM : DXGI_FORMAT_R8_UNORM,
                                     width, height, D3D11_BIND_RENDER_TARGET);
    const Texture chroma =
        MakeTexture(device, wide ? DXGI_FORMAT_R16G16_UNORM : DXGI_FORMAT_R8G8_UNORM, width / 2,
                    height / 2, D3D11_BIND_RENDER_TARGET);
    device.CreateRenderTargetView(luma.Get(), nullptr, &out.luma);
    device.CreateRenderTargetView(chroma.Get(), nullptr, &out.chroma);
    out.picture = std::make_shared<D3d11Picture>(format, width, height, luma);
    chroma_of[out.picture.get()] = chroma;
    return Status::Ok();
  };
  return parts;
}

}  // namespace orventa::test
