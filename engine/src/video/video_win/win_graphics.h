// Devices, captures and converters of Windows as the engine asks for them. Engine
// thread.
#pragma once

#include <memory>
#include <string>

#include "video/engine_platform.h"

namespace orventa {

class WinGraphics final : public IGraphics {
 public:
  Status MakeDevice(const std::string& adapter_name, std::shared_ptr<GraphicsDevice>& device,
                    std::string& adapter_used) override;
  // Unsupported: captures of Windows are not here yet.
  Status CreateCapture(GraphicsDevice& device, const CaptureTarget& target,
                       const CaptureOptions& options,
                       std::unique_ptr<IVideoCapture>& capture) override;
  Status CreateConverter(GraphicsDevice& device, const ConverterSettings& settings,
                         std::unique_ptr<IFrameConverter>& converter) override;
};

}  // namespace orventa
