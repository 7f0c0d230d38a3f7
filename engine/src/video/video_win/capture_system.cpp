#include "video/video_win/capture_system.h"

#include <hstring.h>

#include <string_view>

#include "base/base_win/win32.h"

using Microsoft::WRL::ComPtr;

namespace orventa {
namespace {

constexpr wchar_t kRuntime[] = L"combase.dll";
constexpr int kMultithreaded = 1;

HRESULT Factory(std::wstring_view class_name, REFIID id, void** out) {
  using Create = HRESULT(WINAPI*)(const wchar_t* text, UINT32 length, HSTRING* out);
  using Delete = HRESULT(WINAPI*)(HSTRING text);
  using Get = HRESULT(WINAPI*)(HSTRING class_name, REFIID id, void** out);
  static const auto create_text = SystemFunction<Create>(kRuntime, "WindowsCreateString");
  static const auto delete_text = SystemFunction<Delete>(kRuntime, "WindowsDeleteString");
  static const auto get = SystemFunction<Get>(kRuntime, "RoGetActivationFactory");
  if (create_text == nullptr || delete_text == nullptr || get == nullptr) return E_NOTIMPL;
  HSTRING name = nullptr;
  HRESULT result = create_text(class_name.data(), static_cast<UINT32>(class_name.size()), &name);
  if (FAILED(result)) return result;
  result = get(name, id, out);
  delete_text(name);
  return result;
}

class WinCaptureSystem final : public ICaptureSystem {
 public:
  void EnterRuntime() override {
    using Initialize = HRESULT(WINAPI*)(int kind);
    static const auto initialize = SystemFunction<Initialize>(kRuntime, "RoInitialize");
    // Once a thread, and never taken back: textures may outlive every capture.
    static thread_local const bool entered =
        initialize != nullptr && initialize(kMultithreaded) >= 0;
    (void)entered;
  }

  HRESULT SessionStatics(winrt::IGraphicsCaptureSessionStatics** out) override {
    return Factory(winrt::kSessionClass, IID_PPV_ARGS(out));
  }
  HRESULT ItemInterop(winrt::IGraphicsCaptureItemInterop** out) override {
    return Factory(winrt::kItemClass, IID_PPV_ARGS(out));
  }
  HRESULT PoolStatics(winrt::IDirect3D11CaptureFramePoolStatics2** out) override {
    return Factory(winrt::kPoolClass, IID_PPV_ARGS(out));
  }
  HRESULT WrapDevice(IDXGIDevice* device, IInspectable** out) override {
    using Wrap = HRESULT(WINAPI*)(IDXGIDevice * device, IInspectable * *out);
    static const auto wrap =
        SystemFunction<Wrap>(L"d3d11.dll", "CreateDirect3D11DeviceFromDXGIDevice");
    return wrap != nullptr ? wrap(device, out) : E_NOTIMPL;
  }
};

}  // namespace

ICaptureSystem& TheCaptureSystem() {
  static WinCaptureSystem system;
  return system;
}

bool CanCapture(ICaptureSystem& system) {
  ComPtr<winrt::IGraphicsCaptureSessionStatics> statics;
  boolean supported = FALSE;
  return SUCCEEDED(system.SessionStatics(&statics)) &&
         SUCCEEDED(statics->IsSupported(&supported)) && supported != FALSE;
}

Status WrapDevice(ICaptureSystem& system, IUnknown& device, ComPtr<winrt::IDirect3DDevice>& out) {
  ComPtr<IDXGIDevice> dxgi;
  if (FAILED(device.QueryInterface(IID_PPV_ARGS(&dxgi)))) {
    return {StatusCode::DriverError, "device is not a DXGI device"};
  }
  ComPtr<IInspectable> wrapped;
  if (FAILED(system.WrapDevice(dxgi.Get(), &wrapped)) || FAILED(wrapped.As(&out))) {
    return {StatusCode::DriverError, "CreateDirect3D11DeviceFromDXGIDevice failed"};
  }
  return Status::Ok();
}

}  // namespace orventa
