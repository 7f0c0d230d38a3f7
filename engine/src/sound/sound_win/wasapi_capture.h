// Sound by WASAPI: what an output plays, a microphone, or one application. Everything
// of COM is made, used and dropped on the capture's own thread.
#pragma once

// First: the other headers of the system lean on it.
#include <windows.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/base_win/win32.h"
#include "base/clock.h"
#include "sound/capture.h"
#include "sound/capture_queue.h"
#include "sound/device_follower.h"
#include "sound/sound_sources.h"
#include "sound/sound_win/endpoints.h"
#include "sound/sound_win/wasapi_stream.h"

namespace orventa {

enum class WasapiSource { Output, Microphone, Process, AllButProcess };

struct WasapiTarget {
  WasapiSource source = WasapiSource::Output;
  std::string device;  // of an output or a microphone; empty: the default
  uint32_t pid = 0;    // of a process
};

// What the capture's thread opens and drains.
class WasapiDevice final : public ISoundDevice {
 public:
  // All must outlive this. `stop` ends waiting for an answer of the system's; `samples`
  // is set when an application has given sound.
  WasapiDevice(IClock& clock, CaptureQueue& queue, const WasapiTarget& target, HANDLE stop,
               HANDLE samples);

  // The first and the last of the thread.
  void Begin();
  void End();

  // Whether the devices have changed since last asked.
  bool TakeNews() { return endpoints_->TakeNews(); }
  WasapiStream& stream() { return stream_; }

  bool IsActive(const std::string& id) override { return endpoints_->Find(id) != nullptr; }
  std::string DefaultId() override;
  DeviceResult Open(const std::string& id, std::string& name) override;
  DeviceResult Start() override { return stream_.Start(); }
  void Close() override { stream_.Close(); }

 private:
  DeviceResult OpenProcess(ProcessTree tree, std::string& name);

  const WasapiTarget target_;
  const HANDLE stop_;
  const HANDLE samples_;
  std::optional<Endpoints> endpoints_;  // while the thread runs
  WasapiStream stream_;
};

class WasapiCapture final : public IAudioCapture {
 public:
  // The clock must outlive this. `rate` in Hz.
  WasapiCapture(IClock& clock, const WasapiTarget& target, uint32_t rate);
  ~WasapiCapture() override { WasapiCapture::Stop(); }

  Status Start() override;
  void Stop() override;
  bool IsRunning() const override { return thread_ != nullptr; }
  void SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) override;
  Status Read(uint64_t until_ns, std::vector<int16_t>& out) override;
  SoundFormat Format() const override { return {sound_.rate(), 2}; }
  std::vector<DeviceStint> Trail() const override { return follower_.Trail(); }
  std::string Trouble() const override { return follower_.Trouble(); }

 private:
  void Run();
  // What is done every few milliseconds.
  void Turn();
  void Drain();

  IClock& clock_;
  const WinHandle stop_;
  const WinHandle samples_;
  CaptureQueue queue_;
  QueuedSound sound_;  // engine thread
  WasapiDevice device_;
  DeviceFollower follower_;
  std::optional<uint64_t> failing_since_ns_;  // the capture's thread
  std::unique_ptr<IThread> thread_;
};

}  // namespace orventa
