#include "sound/sound_win/win_sound.h"

// First: the other headers of the system lean on it.
#include <windows.h>

#include <audiopolicy.h>
#include <wrl/client.h>

#include <algorithm>
#include <atomic>
#include <utility>

#include "base/text.h"
#include "sound/process_table.h"
#include "sound/sound_win/endpoints.h"
#include "sound/sound_win/mf_aac.h"
#include "sound/sound_win/process_loopback.h"
#include "sound/sound_win/wasapi_capture.h"

namespace orventa {
namespace {

using Microsoft::WRL::ComPtr;

// Adds the processes that have a session with the device.
HRESULT AddSessions(IMMDevice& device, std::vector<uint32_t>& pids) {
  ComPtr<IAudioSessionManager2> manager;
  ComPtr<IAudioSessionEnumerator> sessions;
  int count = 0;
  HRESULT result = device.Activate(__uuidof(IAudioSessionManager2), CLSCTX_ALL, nullptr, &manager);
  if (SUCCEEDED(result)) result = manager->GetSessionEnumerator(&sessions);
  if (SUCCEEDED(result)) result = sessions->GetCount(&count);
  if (FAILED(result)) return result;
  for (int i = 0; i < count; ++i) {
    ComPtr<IAudioSessionControl> session;
    ComPtr<IAudioSessionControl2> process;
    AudioSessionState state = AudioSessionStateExpired;
    DWORD pid = 0;
    if (FAILED(sessions->GetSession(i, &session)) || FAILED(session.As(&process)) ||
        FAILED(session->GetState(&state)) || state == AudioSessionStateExpired ||
        FAILED(process->GetProcessId(&pid)) || pid == 0 ||  // 0: the system's own sounds
        std::find(pids.begin(), pids.end(), pid) != pids.end()) {
      continue;
    }
    pids.push_back(pid);
  }
  return S_OK;
}

Status SoundingPids(std::vector<uint32_t>& pids) {
  Endpoints outputs(eRender);
  HRESULT failure = S_OK;
  bool answered = false;
  if (Status status = outputs.ForEach([&](IMMDevice& device) {
        const HRESULT result = AddSessions(device, pids);
        if (SUCCEEDED(result)) answered = true;
        if (FAILED(result)) failure = result;
      });
      !status.ok()) {
    return status;
  }
  // One device that does not tell takes nothing away from the others.
  if (answered || SUCCEEDED(failure)) return Status::Ok();
  return {StatusCode::BackendUnavailable, Format("the sound sessions cannot be listed (0x%08lX)",
                                                 static_cast<unsigned long>(failure))};
}

class WinSound final : public ISoundSources {
 public:
  explicit WinSound(IClock& clock) : clock_(clock) {}

  Status MakeOutputCapture(const std::string& device, uint32_t rate,
                           std::unique_ptr<IAudioCapture>& out) override {
    return MakeDeviceCapture(WasapiSource::Output, eRender, device, rate, out);
  }
  Status MakeMicrophoneCapture(const std::string& device, uint32_t rate,
                               std::unique_ptr<IAudioCapture>& out) override {
    return MakeDeviceCapture(WasapiSource::Microphone, eCapture, device, rate, out);
  }
  Status MakeProcessCapture(uint32_t pid, ProcessTree tree,
                            std::unique_ptr<IAudioCapture>& out) override {
    if (Status status = TryProcessLoopback(); !status.ok()) return status;
    WasapiTarget target;
    target.source = tree == ProcessTree::Only ? WasapiSource::Process : WasapiSource::AllButProcess;
    target.pid = pid;
    out = std::make_unique<WasapiCapture>(clock_, target, kProcessLoopbackRate);
    return Status::Ok();
  }
  Status MakeAacEncoder(const AacSettings& settings, std::unique_ptr<IAacEncoder>& out) override {
    return MakeMfAacEncoder(settings, out);
  }

  Status SoundingProcesses(std::vector<SoundingProcess>& out) override {
    out.clear();
    std::vector<uint32_t> pids;
    if (Status status = SoundingPids(pids); !status.ok() || pids.empty()) return status;
    const std::unique_ptr<IProcessTable> table = MakeProcessTable();
    if (Status status = table->Refresh(); !status.ok()) return status;
    for (const uint32_t pid : pids) {
      if (std::optional<ProcessInfo> process = table->Find(pid)) {
        out.push_back({pid, std::move(process->file_name)});
      }
    }
    return Status::Ok();
  }
  Status Outputs(std::vector<SoundDevice>& out) override { return Endpoints(eRender).List(out); }
  Status Inputs(std::vector<SoundDevice>& out) override { return Endpoints(eCapture).List(out); }

 private:
  // Asks this Windows once whether it can, so that whoever is refused can take a whole
  // output instead. A refusal may pass, as while the sound service starts.
  Status TryProcessLoopback() {
    if (loopback_works_) return Status::Ok();
    ComPtr<IAudioClient> client;
    DeviceResult result =
        ActivateProcessLoopback(GetCurrentProcessId(), ProcessTree::Except, nullptr, client);
    loopback_works_ = result.ok();
    return result.status;
  }

  Status MakeDeviceCapture(WasapiSource source, EDataFlow flow, const std::string& device,
                           uint32_t rate, std::unique_ptr<IAudioCapture>& out) {
    WasapiTarget target;
    target.source = source;
    target.device = device;
    if (rate == 0) rate = OutputRate(Endpoints(flow).MixRate(device));
    out = std::make_unique<WasapiCapture>(clock_, target, rate);
    return Status::Ok();
  }

  const ComUsage com_;  // first made, last dropped
  IClock& clock_;
  std::atomic<bool> loopback_works_{false};
};

}  // namespace

std::unique_ptr<ISoundSources> MakeWinSound(IClock& clock) {
  return std::make_unique<WinSound>(clock);
}

}  // namespace orventa
