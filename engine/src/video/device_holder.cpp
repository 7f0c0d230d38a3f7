#include "video/device_holder.h"

#include <utility>

#include "encoders/encoders.h"

namespace orventa {

Status DeviceHolder::Obtain(const std::string& adapter_name) {
  if (device_ && device_->RemovedReason() == 0 && adapter_wanted_ == adapter_name) return {};
  device_.reset();

  std::shared_ptr<GraphicsDevice> made;
  std::string used;
  if (Status status = platform_.graphics.MakeDevice(adapter_name, made, used); !status.ok()) {
    return status;
  }
  no_encoder_ = !EncoderExists(platform_.backends, made.get());
  have_device_ = true;
  device_ = std::move(made);
  adapter_wanted_ = adapter_name;
  adapter_used_ = std::move(used);
  return {};
}

}  // namespace orventa
