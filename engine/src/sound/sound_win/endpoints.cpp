#include "sound/sound_win/endpoints.h"

#include <audioclient.h>
#include <propsys.h>

#include <memory>

#include "base/base_win/win32.h"
#include "base/text.h"

namespace orventa {
namespace {

using Microsoft::WRL::ComPtr;

constexpr PROPERTYKEY kFriendlyName = {
    {0xa45c254e, 0xdf1c, 0x4efd, {0x80, 0x20, 0x67, 0xd1, 0x46, 0xa8, 0x50, 0xe0}}, 14};

bool HasFlow(IMMDevice& device, EDataFlow flow) {
  ComPtr<IMMEndpoint> endpoint;
  EDataFlow its = eAll;
  return SUCCEEDED(device.QueryInterface(IID_PPV_ARGS(&endpoint))) &&
         SUCCEEDED(endpoint->GetDataFlow(&its)) && its == flow;
}

}  // namespace

HRESULT DeviceNews::OnDeviceStateChanged(LPCWSTR, DWORD state) {
  if (state == DEVICE_STATE_ACTIVE) news_.store(true, std::memory_order_release);
  return S_OK;
}

HRESULT DeviceNews::OnDefaultDeviceChanged(EDataFlow flow, ERole role, LPCWSTR) {
  if (flow == flow_ && role == eConsole) news_.store(true, std::memory_order_release);
  return S_OK;
}

Endpoints::~Endpoints() {
  if (news_ != nullptr) enumerator_->UnregisterEndpointNotificationCallback(news_.Get());
}

IMMDeviceEnumerator* Endpoints::Enumerator() {
  if (enumerator_ == nullptr) {
    CoCreateInstance(__uuidof(MMDeviceEnumerator), nullptr, CLSCTX_ALL, IID_PPV_ARGS(&enumerator_));
  }
  return enumerator_.Get();
}

void Endpoints::Listen() {
  if (Enumerator() == nullptr) return;
  ComPtr<DeviceNews> news;
  Adopt(news, new DeviceNews(flow_));
  if (SUCCEEDED(enumerator_->RegisterEndpointNotificationCallback(news.Get()))) news_ = news;
}

ComPtr<IMMDevice> Endpoints::Find(const std::string& id) {
  ComPtr<IMMDevice> device;
  DWORD state = 0;
  if (Enumerator() == nullptr || FAILED(enumerator_->GetDevice(Wide(id).c_str(), &device)) ||
      FAILED(device->GetState(&state)) || state != DEVICE_STATE_ACTIVE ||
      !HasFlow(*device.Get(), flow_)) {
    return nullptr;
  }
  return device;
}

ComPtr<IMMDevice> Endpoints::Default() {
  ComPtr<IMMDevice> device;
  if (Enumerator() == nullptr ||
      FAILED(enumerator_->GetDefaultAudioEndpoint(flow_, eConsole, &device))) {
    return nullptr;
  }
  return device;
}

Status Endpoints::ForEach(const std::function<void(IMMDevice&)>& use) {
  ComPtr<IMMDeviceCollection> all;
  UINT count = 0;
  HRESULT result = Enumerator() == nullptr ? E_NOINTERFACE : S_OK;
  if (SUCCEEDED(result)) {
    result = enumerator_->EnumAudioEndpoints(flow_, DEVICE_STATE_ACTIVE, &all);
  }
  if (SUCCEEDED(result)) result = all->GetCount(&count);
  if (FAILED(result)) {
    return {StatusCode::BackendUnavailable, Format("the sound devices cannot be listed (0x%08lX)",
                                                   static_cast<unsigned long>(result))};
  }
  for (UINT i = 0; i < count; ++i) {
    ComPtr<IMMDevice> device;
    // One that has gone meanwhile is left out.
    if (SUCCEEDED(all->Item(i, &device))) use(*device.Get());
  }
  return Status::Ok();
}

Status Endpoints::List(std::vector<SoundDevice>& out) {
  out.clear();
  return ForEach([&out](IMMDevice& device) {
    if (std::string id = IdOf(device); !id.empty()) {
      out.push_back({std::move(id), NameOf(device)});
    }
  });
}

uint32_t Endpoints::MixRate(const std::string& chosen) {
  ComPtr<IMMDevice> device;
  if (!chosen.empty()) device = Find(chosen);
  if (device == nullptr) device = Default();
  ComPtr<IAudioClient> client;
  WAVEFORMATEX* format = nullptr;
  if (device == nullptr ||
      FAILED(device->Activate(__uuidof(IAudioClient), CLSCTX_ALL, nullptr, &client)) ||
      FAILED(client->GetMixFormat(&format))) {
    return 0;
  }
  const std::unique_ptr<WAVEFORMATEX, CoTaskFree> owned(format);
  return format->nSamplesPerSec;
}

std::string IdOf(IMMDevice& device) {
  LPWSTR id = nullptr;
  if (FAILED(device.GetId(&id))) return {};
  const std::unique_ptr<wchar_t, CoTaskFree> owned(id);
  return Narrow(id);
}

std::string NameOf(IMMDevice& device) {
  ComPtr<IPropertyStore> properties;
  PROPVARIANT value{};
  std::string name;
  if (SUCCEEDED(device.OpenPropertyStore(STGM_READ, &properties)) &&
      SUCCEEDED(properties->GetValue(kFriendlyName, &value))) {
    if (value.vt == VT_LPWSTR && value.pwszVal != nullptr) name = Narrow(value.pwszVal);
    PropVariantClear(&value);
  }
  return name.empty() ? IdOf(device) : name;
}

}  // namespace orventa
