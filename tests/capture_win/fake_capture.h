// A stand-in for Windows.Graphics.Capture over real textures: items, pools, sessions
// and frames that keep the system's rules, fail where a test wants it, count who is
// alive and note what was done wrong. Frames are composed when the test says so. One
// thread at a time.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <wrl/client.h>

#include <cstdint>
#include <string>
#include <vector>

#include "video/video_win/capture_system.h"

namespace orventa {

// What was asked of one pool and its session.
struct FakePoolState {
  winrt::DirectXPixelFormat format{};
  int32_t buffers = 0;
  winrt::SizeInt32 size{};
  int recreated = 0;
  bool started = false;
  bool closed = false;
  int cursor = -1;  // not set
  int border = -1;
  int64_t interval = -1;  // 100 ns
  int held = 0;           // frames that somebody has not closed yet
  int dropped = 0;        // composed while no buffer was free
};

class FakeCaptureSystem final : public ICaptureSystem {
 public:
  void EnterRuntime() override { ++entered; }
  HRESULT SessionStatics(winrt::IGraphicsCaptureSessionStatics** out) override;
  HRESULT ItemInterop(winrt::IGraphicsCaptureItemInterop** out) override;
  HRESULT PoolStatics(winrt::IDirect3D11CaptureFramePoolStatics2** out) override;
  HRESULT WrapDevice(IDXGIDevice* device, IInspectable** out) override;

  // Puts a frame into every started pool that has a free buffer: each channel of a
  // pixel is its column plus twice its row plus `shade`.
  void Compose(winrt::SizeInt32 content, int64_t time_ticks, uint8_t shade = 0);
  // The target's end, as the system tells it.
  void CloseItem();

  HRESULT Answer(const char* call) const { return failing == call ? failure : S_OK; }
  void Breach(const char* rule);

  // Knobs.
  bool supported = true;
  std::string failing;  // "CreateForWindow", "IGraphicsCaptureSession5", ...: what is refused
  HRESULT failure = E_FAIL;
  winrt::SizeInt32 item_size{64, 48};
  bool late_frame = false;  // one of the old size comes after Recreate

  // Seen.
  int entered = 0;
  HWND window = nullptr;
  HMONITOR monitor = nullptr;
  std::vector<FakePoolState> pools;  // in the order of their making
  int alive = 0;                     // objects
  std::string breach;                // the first one

  // Of the objects.
  Microsoft::WRL::ComPtr<ID3D11Device> device;  // the newest that was wrapped
  Microsoft::WRL::ComPtr<ID3D11DeviceContext> context;
  Microsoft::WRL::ComPtr<winrt::IItemClosedHandler> closed_handler;
  std::vector<class FakePool*> live_pools;
};

// The byte at that place of a row; waits for the card.
uint8_t ByteAt(ID3D11Texture2D& texture, size_t byte, size_t row);

}  // namespace orventa
