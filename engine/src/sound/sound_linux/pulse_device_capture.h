// What an output plays, or what a microphone hears; the chosen one while it is there,
// else the default.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/clock.h"
#include "sound/capture.h"
#include "sound/capture_queue.h"
#include "sound/sound_linux/pulse_server.h"
#include "sound/sound_linux/pulse_stream.h"
#include "sound/sound_linux/pulse_thread.h"

namespace orventa {

enum class PulseSide { Output, Microphone };

class PulseDeviceListener final : public IPulseListener {
 public:
  PulseDeviceListener(IClock& clock, PulseServer& server, PulseSide side, CaptureQueue& queue);

  bool Serve(bool news) override;
  bool IsActive(const std::string& id) override;
  std::string DefaultId() override;
  DeviceResult Open(const std::string& id, std::string& name) override;
  DeviceResult Start() override;
  void Close() override { stream_.Close(); }

 private:
  const std::vector<PulseDevice>& Devices() const;

  IClock& clock_;
  PulseServer& server_;
  const PulseSide side_;
  PulseStream stream_;
};

class PulseDeviceCapture final : public IAudioCapture {
 public:
  // The clock must outlive this.
  PulseDeviceCapture(IClock& clock, PulseSide side, const std::string& chosen, uint32_t rate);

  Status Start() override;
  void Stop() override { thread_.Stop(); }
  bool IsRunning() const override { return thread_.IsRunning(); }
  void SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) override;
  Status Read(uint64_t until_ns, std::vector<int16_t>& out) override;
  SoundFormat Format() const override { return {sound_.rate(), 2}; }
  std::vector<DeviceStint> Trail() const override { return thread_.Trail(); }
  std::string Trouble() const override { return thread_.Trouble(); }

 private:
  CaptureQueue queue_;
  QueuedSound sound_;  // engine thread
  PulseServer server_;
  PulseDeviceListener listener_;
  PulseThread thread_;
};

}  // namespace orventa
