// Stands where Direct3D and Windows.Graphics.Capture will: a device without a
// card, no captures, no converters, no windows to capture. The engine runs on it
// and says truly that it has no encoder.
#pragma once

#include <string>

#include "video/engine_platform.h"
#include "video/targets.h"

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

class NoTargets final : public ITargetFinder, public IWindowWatch {
 public:
  Status Find(uint64_t current_window, FoundTarget& out) override;
  bool IsHiddenOrMinimised(uint64_t window) override;
  bool IsForeground(uint64_t window) override;
  void ReadTitle(uint64_t window, std::string& title) override;
};

}  // namespace orventa
