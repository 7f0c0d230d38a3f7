// One pool of frames with the session that fills it: what a screen capture takes its
// pictures from. Engine thread.
#pragma once

#include <d3d11.h>
#include <wrl/client.h>

#include <cstdint>
#include <memory>
#include <utility>

#include "base/status.h"
#include "video/video_win/capture_abi.h"
#include "video/video_win/capture_system.h"

namespace orventa {

// A frame whose buffer the pool gets back with the end of this object.
class HeldFrame {
 public:
  HeldFrame() = default;
  ~HeldFrame() { Close(); }
  HeldFrame(HeldFrame&& other) noexcept { Swap(other); }
  HeldFrame& operator=(HeldFrame&& other) noexcept {
    if (this != &other) {
      Close();
      Swap(other);
    }
    return *this;
  }

  explicit operator bool() const { return frame_.Get() != nullptr; }
  void Close();

  // Below, for a frame that is held; they throw CaptureError.
  Microsoft::WRL::ComPtr<ID3D11Texture2D> Texture() const;
  uint64_t TimeNs() const;  // of its composition, steady clock
  winrt::SizeInt32 ContentSize() const;

 private:
  friend class CaptureStream;
  void Swap(HeldFrame& other) { frame_.Swap(other.frame_); }

  Microsoft::WRL::ComPtr<winrt::IDirect3D11CaptureFrame> frame_;
};

struct StreamSettings {
  winrt::DirectXPixelFormat format = winrt::DirectXPixelFormat::B8G8R8A8UIntNormalized;
  int32_t buffers = 3;
  bool cursor = false;
  int64_t min_interval_ticks = 0;  // 100 ns between frames at the least
};

class CaptureStream {
 public:
  // DriverError when the system refuses the pool or the session.
  static Status Open(ICaptureSystem& system,
                     const Microsoft::WRL::ComPtr<winrt::IDirect3DDevice>& device,
                     winrt::IGraphicsCaptureItem& item, winrt::SizeInt32 size,
                     const StreamSettings& settings, std::unique_ptr<CaptureStream>& out);
  // Ends the session.
  ~CaptureStream();
  CaptureStream(const CaptureStream&) = delete;
  CaptureStream& operator=(const CaptureStream&) = delete;

  Status Start();
  // Frames of another size or format from here on; those before go on living.
  HRESULT Recreate(winrt::DirectXPixelFormat format, winrt::SizeInt32 size);
  // The newest frame that waits; older ones are given back. Leaves `frame` alone when
  // none does. Throws CaptureError.
  bool TakeNewest(HeldFrame& frame);

 private:
  CaptureStream(const Microsoft::WRL::ComPtr<winrt::IDirect3DDevice>& device, int32_t buffers)
      : device_(device), buffers_(buffers) {}

  const Microsoft::WRL::ComPtr<winrt::IDirect3DDevice> device_;
  const int32_t buffers_;
  Microsoft::WRL::ComPtr<winrt::IDirect3D11CaptureFramePool> pool_;
  Microsoft::WRL::ComPtr<winrt::IGraphicsCaptureSession> session_;
};

// The end of a capture, by the call that failed.
[[noreturn]] void ThrowCaptureError(const char* call, HRESULT result);

}  // namespace orventa
