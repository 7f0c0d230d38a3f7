#include "video/video_linux/video_linux.h"
#include "video/video_linux/x11_capture.h"

namespace orventa {
namespace {

// Pictures lie in memory, so the device is nothing but the promise that they do.
class MemoryDevice final : public GraphicsDevice {
 public:
  const std::string& AdapterName() const override { return name_; }
  uint64_t AdapterKey() const override { return kOnlyAdapter; }
  uint32_t RemovedReason() const override { return 0; }
  void Flush() override {}

 private:
  static constexpr uint64_t kOnlyAdapter = 1;
  const std::string name_;
};

class LinuxGraphics final : public IGraphics {
 public:
  explicit LinuxGraphics(IClock& clock) : clock_(clock) {}

  // There is one device, whatever adapter the settings name.
  Status MakeDevice(const std::string&, std::shared_ptr<GraphicsDevice>& device,
                    std::string& adapter_used) override {
    device = std::make_shared<MemoryDevice>();
    adapter_used.clear();
    return Status::Ok();
  }

  Status CreateCapture(GraphicsDevice&, const CaptureTarget& target, const CaptureOptions& options,
                       std::unique_ptr<IVideoCapture>& capture) override {
    return X11Capture::Create(clock_, target, options, capture);
  }

  Status CreateConverter(GraphicsDevice&, const ConverterSettings& settings,
                         std::unique_ptr<IFrameConverter>& converter) override {
    return MakeMemoryConverter(settings, converter);
  }

 private:
  IClock& clock_;
};

}  // namespace

std::unique_ptr<IGraphics> MakeLinuxGraphics(IClock& clock) {
  return std::make_unique<LinuxGraphics>(clock);
}

}  // namespace orventa
