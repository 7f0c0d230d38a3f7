// The sound devices of Windows: which there are, which is the default, what they are
// called, and word of changes. Each object is used by one thread, in the multithreaded
// apartment; nothing in here keeps a thread or a lock.
#pragma once

// First: the other headers of the system lean on it.
#include <windows.h>

#include <mmdeviceapi.h>
#include <wrl/client.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/base_win/com_object.h"
#include "base/status.h"
#include "sound/sound_sources.h"

namespace orventa {

// COM without an apartment of the thread's own, for as long as one lives; whichever
// thread made it.
class ComUsage {
 public:
  ComUsage() {
    if (FAILED(CoIncrementMTAUsage(&cookie_))) cookie_ = nullptr;
  }
  ~ComUsage() {
    if (cookie_ != nullptr) CoDecrementMTAUsage(cookie_);
  }
  ComUsage(const ComUsage&) = delete;
  ComUsage& operator=(const ComUsage&) = delete;

 private:
  CO_MTA_USAGE_COOKIE cookie_ = nullptr;
};

// Hears of changes on threads of the system's, which touch only the flag in here. It
// outlives whoever asks, should a call still be on its way then.
class DeviceNews final : public ComObject<IMMNotificationClient> {
 public:
  explicit DeviceNews(EDataFlow flow) : flow_(flow) {}

  // Whether a device has become active, or another is the default, since last asked.
  bool Take() { return news_.exchange(false, std::memory_order_acq_rel); }

  HRESULT STDMETHODCALLTYPE OnDeviceStateChanged(LPCWSTR id, DWORD state) override;
  HRESULT STDMETHODCALLTYPE OnDeviceAdded(LPCWSTR) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE OnDeviceRemoved(LPCWSTR) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE OnDefaultDeviceChanged(EDataFlow flow, ERole role, LPCWSTR id) override;
  HRESULT STDMETHODCALLTYPE OnPropertyValueChanged(LPCWSTR, const PROPERTYKEY) override {
    return S_OK;
  }

 private:
  const EDataFlow flow_;
  std::atomic<bool> news_{false};
};

// The devices of one direction. Without the system's sound service there are none.
class Endpoints {
 public:
  explicit Endpoints(EDataFlow flow) : flow_(flow) {}
  ~Endpoints();
  Endpoints(const Endpoints&) = delete;
  Endpoints& operator=(const Endpoints&) = delete;

  // Word of changes from now on, where the system gives any; once.
  void Listen();
  bool TakeNews() { return news_ != nullptr && news_->Take(); }

  // Of this direction and active; null otherwise.
  Microsoft::WRL::ComPtr<IMMDevice> Find(const std::string& id);
  // Null without one.
  Microsoft::WRL::ComPtr<IMMDevice> Default();
  // Calls `use` for every active device.
  Status ForEach(const std::function<void(IMMDevice&)>& use);
  Status List(std::vector<SoundDevice>& out);
  // What the chosen device, or the default, mixes at; 0: unknown.
  uint32_t MixRate(const std::string& chosen);

 private:
  // Null while the system has none.
  IMMDeviceEnumerator* Enumerator();

  const EDataFlow flow_;
  Microsoft::WRL::ComPtr<IMMDeviceEnumerator> enumerator_;
  Microsoft::WRL::ComPtr<DeviceNews> news_;  // null: not told of any
};

std::string IdOf(IMMDevice& device);
// Its name for people; the id when it has none.
std::string NameOf(IMMDevice& device);

struct CoTaskFree {
  void operator()(void* memory) const { CoTaskMemFree(memory); }
};

}  // namespace orventa
