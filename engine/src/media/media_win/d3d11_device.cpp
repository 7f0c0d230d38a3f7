#include "media/media_win/d3d11_device.h"

#include <d3d11_4.h>
#include <dxgi1_6.h>

#include <array>
#include <bit>
#include <optional>
#include <string_view>
#include <utility>

#include "base/base_win/win32.h"
#include "base/log.h"
#include "base/text.h"
#include "media/adapter_choice.h"

using Microsoft::WRL::ComPtr;

namespace orventa {
namespace {

constexpr char kPriorityVariable[] = "ORVENTA_GPU_PRIORITY";

struct FoundAdapter {
  ComPtr<IDXGIAdapter1> adapter;
  DXGI_ADAPTER_DESC1 description{};
  std::string name;

  bool Software() const { return (description.Flags & DXGI_ADAPTER_FLAG_SOFTWARE) != 0; }
};

// The fast ones first where the system can tell.
std::vector<FoundAdapter> FindAdapters() {
  std::vector<FoundAdapter> found;
  ComPtr<IDXGIFactory1> factory;
  if (FAILED(CreateDXGIFactory1(IID_PPV_ARGS(&factory)))) return found;
  ComPtr<IDXGIFactory6> ordered;
  (void)factory.As(&ordered);  // since Windows 10 1803
  for (UINT i = 0;; ++i) {
    FoundAdapter next;
    const HRESULT result = ordered != nullptr ? ordered->EnumAdapterByGpuPreference(
                                                    i, DXGI_GPU_PREFERENCE_HIGH_PERFORMANCE,
                                                    IID_PPV_ARGS(&next.adapter))
                                              : factory->EnumAdapters1(i, &next.adapter);
    if (FAILED(result)) return found;
    if (FAILED(next.adapter->GetDesc1(&next.description))) continue;
    next.name = Narrow(next.description.Description);
    found.push_back(std::move(next));
  }
}

// A number that the same adapter has until the machine restarts, and no other.
uint64_t KeyOf(const DXGI_ADAPTER_DESC1& adapter) {
  const uint64_t luid = uint64_t{std::bit_cast<uint32_t>(adapter.AdapterLuid.HighPart)} << 32 |
                        adapter.AdapterLuid.LowPart;
  const uint64_t kind = uint64_t{adapter.VendorId} << 32 | adapter.DeviceId;
  return luid * 0x9E3779B97F4A7C15U ^ kind;
}

std::optional<INT> WantedPriority() {
  const std::string text = Environment(kPriorityVariable);
  if (text.empty()) return std::nullopt;
  const bool negative = text.front() == '-';
  const std::optional<uint64_t> number = ParseUnsigned(std::string_view(text).substr(negative));
  constexpr uint64_t kMost = 7;
  if (!number.has_value() || *number > kMost) {
    LogWarning("gpu: %s is not a number from -7 to 7: %s", kPriorityVariable, text.c_str());
    return std::nullopt;
  }
  return negative ? -static_cast<INT>(*number) : static_cast<INT>(*number);
}

void SetThreadPriority(ID3D11Device& device) {
  const std::optional<INT> priority = WantedPriority();
  if (!priority.has_value()) return;
  ComPtr<IDXGIDevice> dxgi;
  HRESULT result = device.QueryInterface(IID_PPV_ARGS(&dxgi));
  if (SUCCEEDED(result)) result = dxgi->SetGPUThreadPriority(*priority);
  if (FAILED(result)) {
    LogWarning("gpu: thread priority %d was refused (0x%08lX)", *priority,
               static_cast<unsigned long>(result));
  }
}

// No adapter: the one that the system takes by itself.
std::shared_ptr<D3d11Device> Open(const FoundAdapter* on) {
  constexpr UINT kFlags = D3D11_CREATE_DEVICE_BGRA_SUPPORT | D3D11_CREATE_DEVICE_VIDEO_SUPPORT;
  constexpr std::array kLevels = {D3D_FEATURE_LEVEL_11_1, D3D_FEATURE_LEVEL_11_0};
  ComPtr<ID3D11Device> device;
  const HRESULT result = D3D11CreateDevice(
      on != nullptr ? on->adapter.Get() : nullptr,
      on != nullptr ? D3D_DRIVER_TYPE_UNKNOWN : D3D_DRIVER_TYPE_HARDWARE, nullptr, kFlags,
      kLevels.data(), kLevels.size(), D3D11_SDK_VERSION, &device, nullptr, nullptr);
  if (FAILED(result) || device == nullptr) return nullptr;

  // The encoder's worker reaches the immediate context through the driver.
  ComPtr<ID3D11Multithread> guard;
  if (SUCCEEDED(device.As(&guard))) guard->SetMultithreadProtected(TRUE);
  SetThreadPriority(*device.Get());
  return std::make_shared<D3d11Device>(std::move(device), on != nullptr ? on->name : std::string(),
                                       on != nullptr ? KeyOf(on->description) : 0);
}

}  // namespace

D3d11Device::D3d11Device(ComPtr<ID3D11Device> device, std::string adapter_name,
                         uint64_t adapter_key)
    : device_(std::move(device)),
      adapter_name_(std::move(adapter_name)),
      adapter_key_(adapter_key) {
  device_->GetImmediateContext(&context_);
}

uint32_t D3d11Device::RemovedReason() const {
  return static_cast<uint32_t>(device_->GetDeviceRemovedReason());
}

bool D3d11Device::Discrete() const {
  D3D11_FEATURE_DATA_D3D11_OPTIONS2 options{};
  return SUCCEEDED(device_->CheckFeatureSupport(D3D11_FEATURE_D3D11_OPTIONS2, &options,
                                                sizeof(options))) &&
         options.UnifiedMemoryArchitecture == FALSE;
}

Status MakeD3d11Device(const std::string& adapter_name, std::shared_ptr<D3d11Device>& device,
                       std::string& adapter_used) {
  device.reset();
  adapter_used.clear();
  const std::vector<FoundAdapter> adapters = FindAdapters();
  std::vector<AdapterRow> rows;
  for (const FoundAdapter& found : adapters) rows.push_back({found.name, found.Software()});

  std::vector<std::shared_ptr<D3d11Device>> opened(adapters.size());
  const auto chosen = ChooseAdapter(rows, adapter_name, [&](size_t row) {
    opened[row] = Open(&adapters[row]);
    if (opened[row] == nullptr) return AdapterAnswer::NoDevice;
    return opened[row]->Discrete() ? AdapterAnswer::Discrete : AdapterAnswer::Integrated;
  });
  device = chosen.has_value() ? std::move(opened[*chosen]) : Open(nullptr);
  if (device == nullptr) return {StatusCode::DeviceLost, "could not create a D3D11 device"};
  adapter_used = device->AdapterName();
  return Status::Ok();
}

AdapterFacts FindAdapterFacts(const GraphicsDevice& device) {
  const D3d11Device* const d3d11 = D3d11Device::From(device);
  return d3d11 != nullptr ? ReadAdapterFacts(*d3d11->device()) : AdapterFacts{};
}

std::vector<D3d11AdapterReport> ReportD3d11Adapters() {
  constexpr uint64_t kMegabyte = 1024 * 1024;
  std::vector<D3d11AdapterReport> reports;
  for (const FoundAdapter& found : FindAdapters()) {
    if (found.Software()) continue;
    reports.push_back(
        {found.name, found.description.DedicatedVideoMemory / kMegabyte, Open(&found)});
  }
  return reports;
}

}  // namespace orventa
