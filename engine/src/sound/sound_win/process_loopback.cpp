#include "sound/sound_win/process_loopback.h"

#include <mmdeviceapi.h>

#include "base/base_win/com_object.h"
#include "base/base_win/win32.h"
#include "base/text.h"
#include "sound/sound_win/sound_result.h"

namespace orventa {
namespace {

using Microsoft::WRL::ComPtr;

constexpr DWORD kAnswerMs = 2000;
constexpr WORD kFloatTag = 3;
constexpr WORD kChannels = 2;
constexpr WORD kFrameBytes = kChannels * sizeof(float);

// What the system tells of the end, on a thread of its own. It may do so long after
// nobody waits any more, so what was asked lives as long as this does.
class ActivationHandler final : public ComObject<IActivateAudioInterfaceCompletionHandler> {
 public:
  ActivationHandler(uint32_t pid, ProcessTree tree)
      : done_(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    params_.pid = pid;
    params_.mode = tree == ProcessTree::Only ? ProcessLoopbackMode::IncludeTree
                                             : ProcessLoopbackMode::ExcludeTree;
    request_.vt = VT_BLOB;
    request_.blob.cbSize = sizeof(params_);
    request_.blob.pBlobData = reinterpret_cast<BYTE*>(&params_);
  }

  HANDLE done() const { return done_.get(); }
  PROPVARIANT* request() { return &request_; }

  HRESULT STDMETHODCALLTYPE ActivateCompleted(IActivateAudioInterfaceAsyncOperation*) override {
    SetEvent(done_.get());
    return S_OK;
  }

 private:
  const WinHandle done_;
  AudioActivationParams params_;
  PROPVARIANT request_{};
};

DeviceResult Unavailable(std::string message, HRESULT result) {
  return {Status(StatusCode::BackendUnavailable, std::move(message)), TroubleOf(result)};
}

}  // namespace

WAVEFORMATEX ProcessLoopbackFormat() {
  WAVEFORMATEX format{};
  format.wFormatTag = kFloatTag;
  format.nChannels = kChannels;
  format.nSamplesPerSec = kProcessLoopbackRate;
  format.nAvgBytesPerSec = kProcessLoopbackRate * kFrameBytes;
  format.nBlockAlign = kFrameBytes;
  format.wBitsPerSample = 32;
  return format;
}

DeviceResult ActivateProcessLoopback(uint32_t pid, ProcessTree tree, HANDLE stop,
                                     ComPtr<IAudioClient>& client) {
  static const auto activate = SystemFunction<decltype(&ActivateAudioInterfaceAsync)>(
      L"mmdevapi.dll", "ActivateAudioInterfaceAsync");
  ComPtr<ActivationHandler> handler;
  Adopt(handler, new ActivationHandler(pid, tree));
  ComPtr<IActivateAudioInterfaceAsyncOperation> operation;
  const HRESULT asked = activate == nullptr
                            ? E_NOTIMPL
                            : activate(kProcessLoopbackDevice, __uuidof(IAudioClient),
                                       handler->request(), handler.Get(), &operation);
  if (FAILED(asked) || operation == nullptr) {
    return Unavailable(Format("this Windows cannot capture one application's audio (0x%08lX)",
                              static_cast<unsigned long>(asked)),
                       asked);
  }
  const HANDLE handles[] = {handler->done(), stop};
  const DWORD count = stop == nullptr ? 1 : 2;
  if (WaitForMultipleObjects(count, handles, FALSE, kAnswerMs) != WAIT_OBJECT_0) {
    return Unavailable("the application audio endpoint did not answer", E_FAIL);
  }
  HRESULT activated = E_FAIL;
  ComPtr<IUnknown> given;
  const HRESULT told = operation->GetActivateResult(&activated, &given);
  if (SUCCEEDED(told) && SUCCEEDED(activated) && given != nullptr) given.As(&client);
  if (client != nullptr) return {};
  return Unavailable("that application's audio could not be captured",
                     FAILED(told) ? told : activated);
}

}  // namespace orventa
