#include "video/video_win/capture_stream.h"

#include <string>

#include "base/base_win/win32.h"
#include "base/text.h"
#include "video/capture.h"

using Microsoft::WRL::ComPtr;

namespace orventa {
namespace {

constexpr uint64_t kNsPerTick = 100;

Status Refused(const char* what, HRESULT result) {
  return {StatusCode::DriverError,
          std::string(what) + ": " + SystemErrorText(static_cast<uint32_t>(result))};
}

// Closing gives back what the system holds for the object, whoever still refers to it.
template <class Interface>
void CloseAndForget(ComPtr<Interface>& object) {
  if (object.Get() == nullptr) return;
  ComPtr<winrt::IClosable> closable;
  if (SUCCEEDED(object.As(&closable))) (void)closable->Close();
  object.Reset();
}

// What older systems do not know stays as it is there.
void Configure(const ComPtr<winrt::IGraphicsCaptureSession>& session,
               const StreamSettings& settings) {
  ComPtr<winrt::IGraphicsCaptureSession2> cursor;
  if (SUCCEEDED(session.As(&cursor))) {
    (void)cursor->put_IsCursorCaptureEnabled(static_cast<boolean>(settings.cursor));
  }
  ComPtr<winrt::IGraphicsCaptureSession3> border;
  if (SUCCEEDED(session.As(&border))) (void)border->put_IsBorderRequired(FALSE);
  ComPtr<winrt::IGraphicsCaptureSession5> interval;
  if (SUCCEEDED(session.As(&interval))) {
    (void)interval->put_MinUpdateInterval({settings.min_interval_ticks});
  }
}

}  // namespace

void ThrowCaptureError(const char* call, HRESULT result) {
  throw CaptureError(
      Format("%s failed: %s", call, SystemErrorText(static_cast<uint32_t>(result)).c_str()));
}

void HeldFrame::Close() {
  CloseAndForget(frame_);
}

ComPtr<ID3D11Texture2D> HeldFrame::Texture() const {
  ComPtr<winrt::IDirect3DSurface> surface;
  ComPtr<winrt::IDirect3DDxgiInterfaceAccess> access;
  ComPtr<ID3D11Texture2D> texture;
  HRESULT result = frame_->get_Surface(&surface);
  if (SUCCEEDED(result)) result = surface.As(&access);
  if (SUCCEEDED(result)) result = access->GetInterface(IID_PPV_ARGS(&texture));
  if (FAILED(result)) ThrowCaptureError("reading a frame's surface", result);
  return texture;
}

uint64_t HeldFrame::TimeNs() const {
  winrt::TimeSpan time{};
  const HRESULT result = frame_->get_SystemRelativeTime(&time);
  if (FAILED(result)) ThrowCaptureError("reading a frame's time", result);
  return static_cast<uint64_t>(time.Duration) * kNsPerTick;
}

winrt::SizeInt32 HeldFrame::ContentSize() const {
  winrt::SizeInt32 size{};
  const HRESULT result = frame_->get_ContentSize(&size);
  if (FAILED(result)) ThrowCaptureError("reading a frame's size", result);
  return size;
}

Status CaptureStream::Open(ICaptureSystem& system, const ComPtr<winrt::IDirect3DDevice>& device,
                           winrt::IGraphicsCaptureItem& item, winrt::SizeInt32 size,
                           const StreamSettings& settings, std::unique_ptr<CaptureStream>& out) {
  std::unique_ptr<CaptureStream> stream(new CaptureStream(device, settings.buffers));
  ComPtr<winrt::IDirect3D11CaptureFramePoolStatics2> statics;
  HRESULT result = system.PoolStatics(&statics);
  if (SUCCEEDED(result)) {
    // Free of threads, or it would want a queue that this thread does not serve.
    result = statics->CreateFreeThreaded(device.Get(), settings.format, settings.buffers, size,
                                         &stream->pool_);
  }
  if (FAILED(result)) return Refused("could not create the capture's frame pool", result);
  result = stream->pool_->CreateCaptureSession(&item, &stream->session_);
  if (FAILED(result)) return Refused("could not create the capture session", result);
  Configure(stream->session_, settings);
  out = std::move(stream);
  return Status::Ok();
}

CaptureStream::~CaptureStream() {
  CloseAndForget(session_);
  CloseAndForget(pool_);
}

Status CaptureStream::Start() {
  const HRESULT result = session_->StartCapture();
  return FAILED(result) ? Refused("StartCapture failed", result) : Status::Ok();
}

HRESULT CaptureStream::Recreate(winrt::DirectXPixelFormat format, winrt::SizeInt32 size) {
  return pool_->Recreate(device_.Get(), format, buffers_, size);
}

bool CaptureStream::TakeNewest(HeldFrame& frame) {
  HeldFrame newest;
  for (;;) {
    HeldFrame next;
    const HRESULT result = pool_->TryGetNextFrame(&next.frame_);
    if (FAILED(result)) ThrowCaptureError("TryGetNextFrame", result);
    if (!next) break;
    newest = std::move(next);
  }
  if (!newest) return false;
  frame = std::move(newest);
  return true;
}

}  // namespace orventa
