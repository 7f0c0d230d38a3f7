#include "sound/sound_win/wasapi_capture.h"

#include <utility>

#include "sound/sound_win/process_loopback.h"

namespace orventa {
namespace {

using Microsoft::WRL::ComPtr;

constexpr DWORD kTurnMs = 10;
// A device whose every packet fails for so long is opened anew.
constexpr uint64_t kGiveUpNs = 2 * kNsPerSecond;

class ComThread {
 public:
  ComThread() : made_(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) {}
  ~ComThread() {
    if (made_) CoUninitialize();
  }
  ComThread(const ComThread&) = delete;
  ComThread& operator=(const ComThread&) = delete;

 private:
  const bool made_;
};

// This thread among those that the system's scheduler of sound and video looks after.
class AudioTask {
 public:
  AudioTask() {
    static const auto join = SystemFunction<HANDLE(WINAPI*)(LPCWSTR, LPDWORD)>(
        L"avrt.dll", "AvSetMmThreadCharacteristicsW");
    DWORD index = 0;
    if (join != nullptr) task_ = join(L"Audio", &index);
  }
  ~AudioTask() {
    static const auto leave =
        SystemFunction<BOOL(WINAPI*)(HANDLE)>(L"avrt.dll", "AvRevertMmThreadCharacteristics");
    if (task_ != nullptr && leave != nullptr) leave(task_);
  }
  AudioTask(const AudioTask&) = delete;
  AudioTask& operator=(const AudioTask&) = delete;

 private:
  HANDLE task_ = nullptr;
};

struct SourceRow {
  const char* what;  // for the log
  EDataFlow flow;
  const char* nothing;  // there is no device
  SoundTiming timing;
  Following following;
};

// By WasapiSource.
constexpr SourceRow kSources[] = {
    {"output", eRender, "no render endpoint", SoundTiming::Loopback, Following::Device},
    {"microphone", eCapture, "no microphone", SoundTiming::Direct, Following::Device},
    {"one program", eRender, "", SoundTiming::Process, Following::Nothing},
    {"all but one program", eRender, "", SoundTiming::Process, Following::DefaultOutput},
};

const SourceRow& RowOf(const WasapiTarget& target) {
  return kSources[static_cast<size_t>(target.source)];
}

}  // namespace

WasapiDevice::WasapiDevice(IClock& clock, CaptureQueue& queue, const WasapiTarget& target,
                           HANDLE stop, HANDLE samples)
    : target_(target), stop_(stop), samples_(samples), stream_(clock, queue) {}

void WasapiDevice::Begin() {
  endpoints_.emplace(RowOf(target_).flow);
  endpoints_->Listen();
}

void WasapiDevice::End() {
  stream_.Close();
  endpoints_.reset();
}

std::string WasapiDevice::DefaultId() {
  const ComPtr<IMMDevice> device = endpoints_->Default();
  return device == nullptr ? std::string() : IdOf(*device.Get());
}

DeviceResult WasapiDevice::Open(const std::string& id, std::string& name) {
  switch (target_.source) {
    case WasapiSource::Process: return OpenProcess(ProcessTree::Only, name);
    case WasapiSource::AllButProcess: return OpenProcess(ProcessTree::Except, name);
    case WasapiSource::Output:
    case WasapiSource::Microphone: break;
  }
  const ComPtr<IMMDevice> device = endpoints_->Find(id);
  if (device == nullptr) {
    return {Status(StatusCode::BackendUnavailable, RowOf(target_).nothing), SoundTrouble::NotFound};
  }
  name = NameOf(*device.Get());
  return target_.source == WasapiSource::Output ? stream_.OpenOutput(*device.Get())
                                                : stream_.OpenMicrophone(*device.Get());
}

DeviceResult WasapiDevice::OpenProcess(ProcessTree tree, std::string& name) {
  ComPtr<IAudioClient> client;
  if (DeviceResult result = ActivateProcessLoopback(target_.pid, tree, stop_, client);
      !result.ok()) {
    return result;
  }
  // Where it is heard, as far as can be told.
  if (const ComPtr<IMMDevice> output = endpoints_->Default()) name = NameOf(*output.Get());
  return stream_.OpenProcess(std::move(client), samples_);
}

WasapiCapture::WasapiCapture(IClock& clock, const WasapiTarget& target, uint32_t rate)
    : clock_(clock),
      stop_(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      samples_(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      sound_(queue_, RowOf(target).timing, rate),
      device_(clock, queue_, target, stop_.get(), samples_.get()),
      follower_(clock, device_, RowOf(target).following, target.device, RowOf(target).what) {}

Status WasapiCapture::Start() {
  if (thread_ != nullptr) return Status::Ok();
  if (!stop_.valid() || !samples_.valid()) {
    return {StatusCode::DriverError, "the sound capture has no events"};
  }
  ResetEvent(stop_.get());
  thread_ = clock_.StartThread("sound", ThreadPriority::Normal, [this] { Run(); });
  return Status::Ok();
}

void WasapiCapture::Stop() {
  if (thread_ == nullptr) return;
  SetEvent(stop_.get());
  thread_.reset();
}

void WasapiCapture::SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) {
  sound_.SetOrigin(origin_ns, frames_delivered);
}

Status WasapiCapture::Read(uint64_t until_ns, std::vector<int16_t>& out) {
  return sound_.Read(until_ns, out);
}

void WasapiCapture::Run() {
  const ComThread com;
  const AudioTask task;
  device_.Begin();
  follower_.SetRunning(true);
  const HANDLE handles[] = {stop_.get(), samples_.get()};
  while (WaitForMultipleObjects(2, handles, FALSE, kTurnMs) != WAIT_OBJECT_0) Turn();
  follower_.SetRunning(false);
  follower_.Close();
  device_.End();
}

void WasapiCapture::Turn() {
  try {
    if (device_.TakeNews()) follower_.Notice();
    follower_.Check();
    Drain();
  } catch (...) {
    follower_.Lose(SoundTrouble::Failed);
    queue_.Fail({StatusCode::DriverError, "the sound capture stopped on an unexpected error"});
  }
}

void WasapiCapture::Drain() {
  if (!follower_.IsOpen() || !device_.stream().IsStarted()) return;
  const HRESULT result = device_.stream().Drain();
  if (SUCCEEDED(result)) {
    if (failing_since_ns_) follower_.SetTrouble(SoundTrouble::None);
    failing_since_ns_.reset();
    return;
  }
  const uint64_t now_ns = clock_.SteadyNs();
  if (!failing_since_ns_) failing_since_ns_ = now_ns;
  if (IsDeviceGone(result)) {
    follower_.Lose(SoundTrouble::NotFound);
  } else if (now_ns - *failing_since_ns_ >= kGiveUpNs) {
    follower_.Lose(SoundTrouble::Failed);
  } else {
    follower_.SetTrouble(SoundTrouble::Failed);
    return;
  }
  failing_since_ns_.reset();
}

}  // namespace orventa
