#include <string>
#include <utility>

#include "convert/convert_win/frame_converter.h"

using Microsoft::WRL::ComPtr;

namespace orventa {
namespace {

struct PlanarFormat {
  const char* name;
  DXGI_FORMAT texture;
  // A view's format says which plane it shows.
  DXGI_FORMAT luma;
  DXGI_FORMAT chroma;
};

constexpr PlanarFormat kNv12 = {"NV12", DXGI_FORMAT_NV12, DXGI_FORMAT_R8_UNORM,
                                DXGI_FORMAT_R8G8_UNORM};
constexpr PlanarFormat kP010 = {"P010", DXGI_FORMAT_P010, DXGI_FORMAT_R16_UNORM,
                                DXGI_FORMAT_R16G16_UNORM};

Status MakeView(ID3D11Device& device, ID3D11Texture2D* texture, const PlanarFormat& format,
                DXGI_FORMAT plane, ComPtr<ID3D11RenderTargetView>& view) {
  D3D11_RENDER_TARGET_VIEW_DESC wanted{};
  wanted.Format = plane;
  wanted.ViewDimension = D3D11_RTV_DIMENSION_TEXTURE2D;
  if (FAILED(device.CreateRenderTargetView(texture, &wanted, &view))) {
    return {StatusCode::DriverError,
            "CreateRenderTargetView(" + std::string(format.name) + ") failed"};
  }
  return Status::Ok();
}

}  // namespace

Status MakePlanarTarget(ID3D11Device& device, PixelFormat format, uint32_t width, uint32_t height,
                        PlanarTarget& out) {
  const PlanarFormat& planar = format == PixelFormat::P010 ? kP010 : kNv12;
  D3D11_TEXTURE2D_DESC wanted{};
  wanted.Width = width;
  wanted.Height = height;
  wanted.MipLevels = 1;
  wanted.ArraySize = 1;
  wanted.Format = planar.texture;
  wanted.SampleDesc.Count = 1;
  wanted.Usage = D3D11_USAGE_DEFAULT;
  wanted.BindFlags = D3D11_BIND_RENDER_TARGET | D3D11_BIND_SHADER_RESOURCE;
  ComPtr<ID3D11Texture2D> texture;
  if (FAILED(device.CreateTexture2D(&wanted, nullptr, &texture))) {
    return {StatusCode::DriverError, "CreateTexture2D(" + std::string(planar.name) + ") failed"};
  }
  Status status = MakeView(device, texture.Get(), planar, planar.luma, out.luma);
  if (status.ok()) status = MakeView(device, texture.Get(), planar, planar.chroma, out.chroma);
  out.picture = std::make_shared<D3d11Picture>(format, width, height, std::move(texture));
  return status;
}

}  // namespace orventa
