#include "service/service_win/no_graphics.h"

namespace orventa {
namespace {

class NoCard final : public GraphicsDevice {
 public:
  const std::string& AdapterName() const override { return name_; }
  uint64_t AdapterKey() const override { return 0; }
  uint32_t RemovedReason() const override { return 0; }
  void Flush() override {}

 private:
  const std::string name_;
};

}  // namespace

Status NoGraphics::MakeDevice(const std::string&, std::shared_ptr<GraphicsDevice>& device,
                              std::string& adapter_used) {
  device = std::make_shared<NoCard>();
  adapter_used.clear();
  return Status::Ok();
}

Status NoGraphics::CreateCapture(GraphicsDevice&, const CaptureTarget&, const CaptureOptions&,
                                 std::unique_ptr<IVideoCapture>&) {
  return {StatusCode::Unsupported, "screen capture on Windows is not here yet"};
}

Status NoGraphics::CreateConverter(GraphicsDevice&, const ConverterSettings&,
                                   std::unique_ptr<IFrameConverter>&) {
  return {StatusCode::Unsupported, "frame conversion on Windows is not here yet"};
}

}  // namespace orventa
