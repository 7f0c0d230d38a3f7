// IVideoCapture by Windows.Graphics.Capture: textures of one display or one window as
// the compositor shows it. Of a window only what it draws itself is given. Engine
// thread; the one thing that another thread does is to note the target's end.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <wrl/client.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "base/clock.h"
#include "base/status.h"
#include "media/media_win/d3d11_picture.h"
#include "video/capture.h"
#include "video/video_win/capture_stream.h"
#include "video/video_win/capture_system.h"
#include "video/video_win/display_light.h"

namespace orventa {

// What a capture leans on; must outlive it.
struct WgcParts {
  IClock& clock;
  ICaptureSystem& system;
  IDisplayLight& light;
};

class WgcCapture final : public IVideoCapture {
 public:
  // InvalidArgument without a device or a window to capture, Unsupported where the
  // system has no such capture, DriverError when it refuses this one.
  static Status Create(const WgcParts& parts, ID3D11Device* device, const CaptureTarget& target,
                       const CaptureOptions& options, std::unique_ptr<IVideoCapture>& out);
  ~WgcCapture() override;

  Status Start() override;
  void Stop() override;  // for good
  bool IsRunning() const override { return running_; }
  bool TryAcquire(CapturedFrame& frame) override;
  uint32_t Width() const override { return static_cast<uint32_t>(size_.Width); }
  uint32_t Height() const override { return static_cast<uint32_t>(size_.Height); }
  DisplayDescription Display() const override { return display_; }
  bool SetDrawnSdr(bool drawn_sdr) override;
  bool IsDrawnSdr() const override;
  bool TryAcquireSide(CapturedFrame& frame) override;
  DisplayDescription CurrentDisplay() override;
  bool TargetGone() const override;

 private:
  template <class T>
  using ComPtr = Microsoft::WRL::ComPtr<T>;
  using PicturePtr = std::shared_ptr<const D3d11Picture>;

  WgcCapture(const WgcParts& parts, ComPtr<ID3D11Device> device, const CaptureTarget& target,
             const CaptureOptions& options);

  HWND window() const { return reinterpret_cast<HWND>(static_cast<uintptr_t>(target_.window)); }
  bool IsWindowTarget() const { return target_.kind == CaptureTarget::Kind::Window; }
  HMONITOR Monitor() const;
  Status OpenItem();
  Status OpenStream();
  bool OpenWatch();
  void CloseWatch();
  void ShowNewest();
  void FollowSize(winrt::SizeInt32 content);
  PicturePtr PictureOf(const ComPtr<ID3D11Texture2D>& texture);
  PicturePtr Cropped(const D3d11Picture& whole);

  const WgcParts parts_;
  const ComPtr<ID3D11Device> device_;
  ComPtr<ID3D11DeviceContext> context_;
  const CaptureTarget target_;
  const CaptureOptions options_;
  DisplayDescription display_;

  ComPtr<winrt::IDirect3DDevice> winrt_device_;
  ComPtr<winrt::IGraphicsCaptureItem> item_;
  EventRegistrationToken closed_token_{};
  // The system's thread may still be in the handler when the capture has gone.
  const std::shared_ptr<std::atomic<bool>> closed_;
  std::unique_ptr<CaptureStream> stream_;  // null: stopped
  winrt::DirectXPixelFormat format_;
  winrt::SizeInt32 size_{};
  bool running_ = false;

  HeldFrame last_;
  CapturedFrame shown_;  // what was made of it
  std::optional<D3D11_BOX> crop_;
  uint32_t crop_age_ = 0;  // frames since it was measured
  PicturePtr scratch_;     // what is cropped goes here
  // The pool's textures come round and round.
  std::array<PicturePtr, 3> pictures_;
  size_t next_picture_ = 0;

  // Full range, once a second, while the pictures above are in 8 bits.
  std::unique_ptr<CaptureStream> watch_;
  HeldFrame side_;
};

}  // namespace orventa
