#include "video/video_win/win_graphics.h"

#include "media/media_win/d3d11_device.h"
#include "video/video_win/wgc_capture.h"

namespace orventa {

Status WinGraphics::MakeDevice(const std::string& adapter_name,
                               std::shared_ptr<GraphicsDevice>& device, std::string& adapter_used) {
  std::shared_ptr<D3d11Device> made;
  Status status = MakeD3d11Device(adapter_name, made, adapter_used);
  device = std::move(made);
  return status;
}

Status WinGraphics::CreateCapture(GraphicsDevice& device, const CaptureTarget& target,
                                  const CaptureOptions& options,
                                  std::unique_ptr<IVideoCapture>& capture) {
  const D3d11Device* const d3d11 = D3d11Device::From(device);
  return WgcCapture::Create({clock_, parts_.capture, light_},
                            d3d11 != nullptr ? d3d11->device() : nullptr, target, options, capture);
}

Status WinGraphics::CreateConverter(GraphicsDevice& device, const ConverterSettings& settings,
                                    std::unique_ptr<IFrameConverter>& converter) {
  const D3d11Device* const d3d11 = D3d11Device::From(device);
  if (d3d11 == nullptr) return {StatusCode::InvalidArgument, "null D3D11 device"};
  return FrameConverter::Create(*d3d11, settings, converter, parts_.converter);
}

}  // namespace orventa
