// Silence, where a track goes on without its source. Engine thread.
#pragma once

#include "sound/capture.h"

namespace orventa {

class SilentCapture final : public IAudioCapture {
 public:
  explicit SilentCapture(SoundFormat format) : format_(format) {}

  Status Start() override;
  void Stop() override { running_ = false; }
  bool IsRunning() const override { return running_; }
  void SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) override;
  // Nothing before an origin is set.
  Status Read(uint64_t until_ns, std::vector<int16_t>& out) override;
  SoundFormat Format() const override { return format_; }
  std::vector<DeviceStint> Trail() const override { return {}; }
  std::string Trouble() const override { return {}; }

 private:
  const SoundFormat format_;
  bool running_ = false;
  bool has_origin_ = false;
  uint64_t origin_ns_ = 0;
  uint64_t delivered_ = 0;  // frames
};

}  // namespace orventa
