// The doors through which screen captures come by the system's objects. Everything of
// the runtime behind Windows.Graphics.Capture is found at run time, so that the
// program starts where it is not there. Engine thread; tests have doors of their own.
#pragma once

#include <windows.h>

#include <dxgi.h>
#include <wrl/client.h>

#include "base/status.h"
#include "video/video_win/capture_abi.h"

namespace orventa {

// Results as COM has them. Any of them may fail on a system that lacks the thing.
class ICaptureSystem {
 public:
  virtual ~ICaptureSystem() = default;
  // Lets this thread use the runtime, until it ends. A thread that had made up its
  // mind otherwise before goes on so.
  virtual void EnterRuntime() = 0;
  virtual HRESULT SessionStatics(winrt::IGraphicsCaptureSessionStatics** out) = 0;
  virtual HRESULT ItemInterop(winrt::IGraphicsCaptureItemInterop** out) = 0;
  virtual HRESULT PoolStatics(winrt::IDirect3D11CaptureFramePoolStatics2** out) = 0;
  // The runtime's object for a device.
  virtual HRESULT WrapDevice(IDXGIDevice* device, IInspectable** out) = 0;
};

// The system itself.
ICaptureSystem& TheCaptureSystem();

// Whether the system can capture at all; what cannot be asked cannot.
bool CanCapture(ICaptureSystem& system);

// DriverError for a device that is none of DXGI's, or that the runtime refuses.
Status WrapDevice(ICaptureSystem& system, IUnknown& device,
                  Microsoft::WRL::ComPtr<winrt::IDirect3DDevice>& out);

}  // namespace orventa
