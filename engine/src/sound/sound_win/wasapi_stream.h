// One stream of WASAPI, from whatever it hears into a queue. Used on the capture's
// thread alone.
#pragma once

// First: the other headers of the system lean on it.
#include <windows.h>

#include <audioclient.h>
#include <mmdeviceapi.h>
#include <wrl/client.h>

#include <cstdint>

#include "base/clock.h"
#include "sound/capture_queue.h"
#include "sound/device_follower.h"
#include "sound/sound_win/sound_result.h"

namespace orventa {

class WasapiStream {
 public:
  // Both must outlive this.
  WasapiStream(IClock& clock, CaptureQueue& queue) : clock_(clock), queue_(queue) {}

  // Without sound yet; what was open is closed before.
  DeviceResult OpenOutput(IMMDevice& device);
  DeviceResult OpenMicrophone(IMMDevice& device);
  // A client of the process loopback device. `samples` is set when there is sound.
  DeviceResult OpenProcess(Microsoft::WRL::ComPtr<IAudioClient> client, HANDLE samples);
  DeviceResult Start();
  void Close();
  bool IsStarted() const { return started_; }

  // Queues all that waits; fails as WASAPI does.
  HRESULT Drain();

 private:
  DeviceResult Open(IMMDevice& device, DWORD flags, const AUDCLNT_STREAMOPTIONS* options);
  void AskForOptions(AUDCLNT_STREAMOPTIONS options);
  DeviceResult Initialize(DWORD flags);
  DeviceResult AskForPackets();
  HRESULT TakePacket();
  // Closes; the log is told the result, which people are not.
  DeviceResult Fail(StatusCode code, const char* message, HRESULT result);

  IClock& clock_;
  CaptureQueue& queue_;
  Microsoft::WRL::ComPtr<IAudioClient> client_;
  Microsoft::WRL::ComPtr<IAudioCaptureClient> packets_;
  WaveShape shape_;
  Downmix downmix_;
  bool started_ = false;
  HRESULT failure_ = S_OK;  // the last of Fail
};

}  // namespace orventa
