#include "video/video_win/win_graphics.h"

#include "media/media_win/d3d11_device.h"

namespace orventa {

Status WinGraphics::MakeDevice(const std::string& adapter_name,
                               std::shared_ptr<GraphicsDevice>& device, std::string& adapter_used) {
  std::shared_ptr<D3d11Device> made;
  Status status = MakeD3d11Device(adapter_name, made, adapter_used);
  device = std::move(made);
  return status;
}

Status WinGraphics::CreateCapture(GraphicsDevice&, const CaptureTarget&, const CaptureOptions&,
                                  std::unique_ptr<IVideoCapture>&) {
  return {StatusCode::Unsupported, "screen capture on Windows is not here yet"};
}

Status WinGraphics::CreateConverter(GraphicsDevice&, const ConverterSettings&,
                                    std::unique_ptr<IFrameConverter>&) {
  return {StatusCode::Unsupported, "frame conversion on Windows is not here yet"};
}

}  // namespace orventa
