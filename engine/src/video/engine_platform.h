// What the engine needs of the platform. The objects are made by the platform's
// main and must outlive the engine.
#pragma once

#include <memory>
#include <string>

#include "base/clock.h"
#include "base/status.h"
#include "convert/converter.h"
#include "encoders/encoder.h"
#include "media/graphics_device.h"
#include "sound/sound_sources.h"
#include "video/capture.h"
#include "video/recording_file.h"
#include "video/targets.h"

namespace orventa {

// Devices and what is made on them. Engine thread.
class IGraphics {
 public:
  virtual ~IGraphics() = default;
  // The adapter of that name, else the best one. `adapter_used` is empty when the
  // system names none. DeviceLost when no device can be made.
  virtual Status MakeDevice(const std::string& adapter_name,
                            std::shared_ptr<GraphicsDevice>& device, std::string& adapter_used) = 0;
  virtual Status CreateCapture(GraphicsDevice& device, const CaptureTarget& target,
                               const CaptureOptions& options,
                               std::unique_ptr<IVideoCapture>& capture) = 0;
  virtual Status CreateConverter(GraphicsDevice& device, const ConverterSettings& settings,
                                 std::unique_ptr<IFrameConverter>& converter) = 0;
};

struct EnginePlatform {
  IClock& clock;
  IGraphics& graphics;
  ITargetFinder& targets;
  IWindowWatch& windows;
  BackendList backends;
  ISoundSources* sound = nullptr;    // null: no sound
  IRecordingDrive* drive = nullptr;  // null: the machine's own
};

}  // namespace orventa
