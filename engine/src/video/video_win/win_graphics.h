// Devices, captures and converters of Windows as the engine asks for them. Engine
// thread.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "base/clock.h"
#include "convert/convert_win/frame_converter.h"
#include "video/engine_platform.h"
#include "video/video_win/capture_system.h"
#include "video/video_win/display_light.h"

namespace orventa {

// What differs where there is no such system: under Wine and its tests.
struct WinGraphicsParts {
  ICaptureSystem& capture = TheCaptureSystem();
  ConverterParts converter = {};
};

class WinGraphics final : public IGraphics {
 public:
  // The clock and the parts must outlive this and all that it makes; this, every
  // capture of its.
  explicit WinGraphics(IClock& clock, WinGraphicsParts parts = {})
      : clock_(clock), parts_(std::move(parts)), light_(clock) {}

  Status MakeDevice(const std::string& adapter_name, std::shared_ptr<GraphicsDevice>& device,
                    std::string& adapter_used) override;
  Status CreateCapture(GraphicsDevice& device, const CaptureTarget& target,
                       const CaptureOptions& options,
                       std::unique_ptr<IVideoCapture>& capture) override;
  Status CreateConverter(GraphicsDevice& device, const ConverterSettings& settings,
                         std::unique_ptr<IFrameConverter>& converter) override;

 private:
  IClock& clock_;
  const WinGraphicsParts parts_;
  DxgiDisplayLight light_;
};

}  // namespace orventa
