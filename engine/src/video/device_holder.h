// The device that pipelines share, and whether anything can encode on it. Engine
// thread, and the thread that starts the engine before that one runs; the two
// answers may be asked on any thread.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "video/engine_platform.h"

namespace orventa {

class DeviceHolder {
 public:
  explicit DeviceHolder(const EnginePlatform& platform) : platform_(platform) {}

  // A working device on the adapter of that name (empty: the best one): the one at
  // hand, or a new one, for which the encoders are searched again.
  Status Obtain(const std::string& adapter_name);
  void Release() { device_.reset(); }

  const std::shared_ptr<GraphicsDevice>& device() const { return device_; }
  const std::string& adapter_used() const { return adapter_used_; }

  bool no_encoder() const { return no_encoder_; }
  // A device was found at some time, so that `no_encoder` means something.
  bool have_device() const { return have_device_; }

 private:
  EnginePlatform platform_;
  std::shared_ptr<GraphicsDevice> device_;
  std::string adapter_wanted_;
  std::string adapter_used_;
  std::atomic<bool> no_encoder_ = false;
  std::atomic<bool> have_device_ = false;
};

}  // namespace orventa
