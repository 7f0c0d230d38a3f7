// Stands where Direct3D and Windows.Graphics.Capture will: a device without a
// card, no captures, no converters. The engine finds its target, runs on this and
// says truly that it has no encoder.
#pragma once

#include <string>

#include "video/engine_platform.h"

namespace orventa {

class NoGraphics final : public IGraphics {
 public:
  Status MakeDevice(const std::string& adapter_name, std::shared_ptr<GraphicsDevice>& device,
                    std::string& adapter_used) override;
  Status CreateCapture(GraphicsDevice& device, const CaptureTarget& target,
                       const CaptureOptions& options,
                       std::unique_ptr<IVideoCapture>& capture) override;
  Status CreateConverter(GraphicsDevice& device, const ConverterSettings& settings,
                         std::unique_ptr<IFrameConverter>& converter) override;
};

}  // namespace orventa
