#include "sound/sound_win/wasapi_stream.h"

#include <cstdlib>
#include <memory>
#include <utility>

#include "base/log.h"
#include "sound/sound_win/endpoints.h"
#include "sound/sound_win/process_loopback.h"

namespace orventa {
namespace {

using Microsoft::WRL::ComPtr;

constexpr REFERENCE_TIME kBufferLength = 2'000'000;  // 200 ms, in 100 ns
constexpr uint64_t kNsPerTick = 100;

static_assert(sizeof(AudioClientProperties) == 16);
static_assert(AudioCategory_Media == 11);
static_assert(kSoundDiscontinuity == AUDCLNT_BUFFERFLAGS_DATA_DISCONTINUITY);
static_assert(kSoundSilent == AUDCLNT_BUFFERFLAGS_SILENT);
static_assert(kSoundBadTime == AUDCLNT_BUFFERFLAGS_TIMESTAMP_ERROR);

}  // namespace

DeviceResult WasapiStream::OpenOutput(IMMDevice& device) {
  return Open(device, AUDCLNT_STREAMFLAGS_LOOPBACK, nullptr);
}

DeviceResult WasapiStream::OpenMicrophone(IMMDevice& device) {
  // As it is heard, before the driver's own filters, where there is such a stream.
  AUDCLNT_STREAMOPTIONS options = AUDCLNT_STREAMOPTIONS_RAW;
  DeviceResult opened = Open(device, 0, &options);
  if (opened.ok() || failure_ != AUDCLNT_E_RAW_MODE_UNSUPPORTED) return opened;
  options = AUDCLNT_STREAMOPTIONS_NONE;
  return Open(device, 0, &options);
}

DeviceResult WasapiStream::Open(IMMDevice& device, DWORD flags,
                                const AUDCLNT_STREAMOPTIONS* options) {
  Close();
  const HRESULT result = device.Activate(__uuidof(IAudioClient), CLSCTX_ALL, nullptr, &client_);
  if (FAILED(result) || client_ == nullptr) {
    return Fail(StatusCode::DriverError, "IAudioClient activation failed", result);
  }
  if (options != nullptr) AskForOptions(*options);
  if (DeviceResult made = Initialize(flags); !made.ok()) return made;
  return AskForPackets();
}

void WasapiStream::AskForOptions(AUDCLNT_STREAMOPTIONS options) {
  ComPtr<IAudioClient2> client;
  if (FAILED(client_.As(&client))) return;
  AudioClientProperties properties{};
  properties.cbSize = sizeof(properties);
  properties.eCategory = AudioCategory_Media;
  properties.Options = options;
  if (SUCCEEDED(client->SetClientProperties(&properties))) return;
  properties.Options = AUDCLNT_STREAMOPTIONS_NONE;
  client->SetClientProperties(&properties);  // a device without it gives what it has
}

DeviceResult WasapiStream::Initialize(DWORD flags) {
  WAVEFORMATEX* mix = nullptr;
  HRESULT result = client_->GetMixFormat(&mix);
  const std::unique_ptr<WAVEFORMATEX, CoTaskFree> format(mix);
  if (FAILED(result) || mix == nullptr) {
    return Fail(StatusCode::DriverError, "GetMixFormat failed", result);
  }
  if (!ReadWaveFormat(*format, shape_)) {
    return Fail(StatusCode::Unsupported, "endpoint mix format is neither float nor 16-bit PCM",
                AUDCLNT_E_UNSUPPORTED_FORMAT);
  }
  result =
      client_->Initialize(AUDCLNT_SHAREMODE_SHARED, flags, kBufferLength, 0, format.get(), nullptr);
  if (FAILED(result)) {
    return Fail(StatusCode::DriverError, "IAudioClient::Initialize failed", result);
  }
  return {};
}

DeviceResult WasapiStream::OpenProcess(ComPtr<IAudioClient> client, HANDLE samples) {
  Close();
  client_ = std::move(client);
  const WAVEFORMATEX format = ProcessLoopbackFormat();
  if (!ReadWaveFormat(format, shape_)) std::abort();
  constexpr DWORD kFlags = AUDCLNT_STREAMFLAGS_LOOPBACK | AUDCLNT_STREAMFLAGS_EVENTCALLBACK;
  HRESULT result =
      client_->Initialize(AUDCLNT_SHAREMODE_SHARED, kFlags, kBufferLength, 0, &format, nullptr);
  if (FAILED(result)) {
    return Fail(StatusCode::DriverError, "could not open that application's audio", result);
  }
  result = client_->SetEventHandle(samples);
  if (FAILED(result)) {
    return Fail(StatusCode::DriverError, "could not arm the audio endpoint", result);
  }
  return AskForPackets();
}

DeviceResult WasapiStream::AskForPackets() {
  const HRESULT result = client_->GetService(IID_PPV_ARGS(&packets_));
  if (FAILED(result) || packets_ == nullptr) {
    return Fail(StatusCode::DriverError, "IAudioCaptureClient unavailable", result);
  }
  downmix_ = Downmix(shape_.kind, shape_.channels, shape_.mask);
  return {};
}

DeviceResult WasapiStream::Start() {
  const HRESULT result = client_->Start();
  if (FAILED(result)) return Fail(StatusCode::DriverError, "IAudioClient::Start failed", result);
  queue_.PushFormat(shape_.rate);
  started_ = true;
  failure_ = S_OK;
  return {};
}

void WasapiStream::Close() {
  if (started_) client_->Stop();
  started_ = false;
  packets_.Reset();
  client_.Reset();
}

DeviceResult WasapiStream::Fail(StatusCode code, const char* message, HRESULT result) {
  if (result != failure_) {
    LogInfo("sound: %s (0x%08lX)", message, static_cast<unsigned long>(result));
  }
  failure_ = result;
  Close();
  return {Status(code, message), TroubleOf(result)};
}

// Asks for no packet's size before: not every system tells there that the device is gone.
HRESULT WasapiStream::Drain() {
  for (;;) {
    const HRESULT result = TakePacket();
    if (FAILED(result)) return result;
    if (result == AUDCLNT_S_BUFFER_EMPTY) return S_OK;
  }
}

HRESULT WasapiStream::TakePacket() {
  BYTE* data = nullptr;
  UINT32 frames = 0;
  DWORD flags = 0;
  UINT64 position = 0;
  UINT64 ticks = 0;
  const HRESULT result = packets_->GetBuffer(&data, &frames, &flags, &position, &ticks);
  if (FAILED(result) || result == AUDCLNT_S_BUFFER_EMPTY) return result;
  SoundRecord record;
  record.arrival_ns = clock_.SteadyNs();
  record.frames = frames;
  record.rate = shape_.rate;
  record.flags = flags;
  record.device_ns = ticks * kNsPerTick;
  queue_.PushFrames(record, downmix_, data);
  const HRESULT released = packets_->ReleaseBuffer(frames);
  // A driver that gives packets of nothing would be asked for ever.
  return frames == 0 && SUCCEEDED(released) ? AUDCLNT_S_BUFFER_EMPTY : released;
}

}  // namespace orventa
