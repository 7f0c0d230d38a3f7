#include "video/video_win/wgc_capture.h"

#include <algorithm>
#include <utility>

#include "base/base_win/com_object.h"
#include "base/text.h"
#include "video/video_win/client_crop.h"

using Microsoft::WRL::ComPtr;

namespace orventa {
namespace {

using winrt::DirectXPixelFormat;

constexpr auto kFullRange = DirectXPixelFormat::R16G16B16A16Float;
constexpr auto kEightBits = DirectXPixelFormat::B8G8R8A8UIntNormalized;
constexpr int32_t kBuffers = 3;
constexpr uint32_t kCropStandsFrames = 60;
constexpr int64_t kTicksPerSecond = 10'000'000;
constexpr int64_t kLeastIntervalTicks = 10'000;  // below, the system falls back to its own

// Twice the frames that are wanted, so that one is never late for its slot; more the
// compositor need not make.
constexpr int64_t IntervalTicks(uint32_t fps) {
  return std::max(kTicksPerSecond / (2 * int64_t{std::max(fps, 1U)}), kLeastIntervalTicks);
}

class ClosedHandler final : public ComObject<winrt::IItemClosedHandler> {
 public:
  explicit ClosedHandler(std::shared_ptr<std::atomic<bool>> closed) : closed_(std::move(closed)) {}
  HRESULT STDMETHODCALLTYPE Invoke(winrt::IGraphicsCaptureItem*, IInspectable*) override {
    *closed_ = true;
    return S_OK;
  }

 private:
  const std::shared_ptr<std::atomic<bool>> closed_;
};

PixelFormat FormatOf(DXGI_FORMAT format) {
  switch (format) {
    case DXGI_FORMAT_R16G16B16A16_FLOAT: return PixelFormat::RgbaHalf;
    case DXGI_FORMAT_B8G8R8A8_UNORM: return PixelFormat::Bgra8;
    default: throw CaptureError(Format("a frame has the unknown format %u", unsigned{format}));
  }
}

winrt::SizeInt32 SizeOf(const Picture& picture) {
  return {static_cast<int32_t>(picture.width()), static_cast<int32_t>(picture.height())};
}

}  // namespace

Status WgcCapture::Create(const WgcParts& parts, ID3D11Device* device, const CaptureTarget& target,
                          const CaptureOptions& options, std::unique_ptr<IVideoCapture>& out) {
  if (device == nullptr) return {StatusCode::InvalidArgument, "null D3D11 device"};
  parts.system.EnterRuntime();
  if (!CanCapture(parts.system)) {
    return {StatusCode::Unsupported, "Windows.Graphics.Capture is not available on this system"};
  }
  std::unique_ptr<WgcCapture> made(new WgcCapture(parts, device, target, options));
  if (Status status = WrapDevice(parts.system, *device, made->winrt_device_); !status.ok()) {
    return status;
  }
  if (Status status = made->OpenItem(); !status.ok()) return status;
  if (Status status = made->OpenStream(); !status.ok()) return status;
  out = std::move(made);
  return Status::Ok();
}

WgcCapture::WgcCapture(const WgcParts& parts, ComPtr<ID3D11Device> device,
                       const CaptureTarget& target, const CaptureOptions& options)
    : parts_(parts),
      device_(std::move(device)),
      target_(target),
      options_(options),
      closed_(std::make_shared<std::atomic<bool>>(false)),
      format_(kEightBits) {
  device_->GetImmediateContext(&context_);
}

WgcCapture::~WgcCapture() {
  Stop();
}

HMONITOR WgcCapture::Monitor() const {
  switch (target_.kind) {
    case CaptureTarget::Kind::Window: return MonitorFromWindow(window(), MONITOR_DEFAULTTONEAREST);
    case CaptureTarget::Kind::Monitor:
      return reinterpret_cast<HMONITOR>(static_cast<uintptr_t>(target_.monitor));
    case CaptureTarget::Kind::PrimaryMonitor: break;
  }
  return MonitorFromPoint({0, 0}, MONITOR_DEFAULTTOPRIMARY);
}

Status WgcCapture::OpenItem() {
  const Status failed = {StatusCode::DriverError,
                         "could not create GraphicsCaptureItem for the target"};
  if (IsWindowTarget() && target_.window == 0) {
    return {StatusCode::InvalidArgument, "null window handle"};
  }
  ComPtr<winrt::IGraphicsCaptureItemInterop> interop;
  if (FAILED(parts_.system.ItemInterop(&interop))) return failed;
  const HRESULT result = IsWindowTarget()
                             ? interop->CreateForWindow(window(), IID_PPV_ARGS(&item_))
                             : interop->CreateForMonitor(Monitor(), IID_PPV_ARGS(&item_));
  if (FAILED(result) || item_.Get() == nullptr) return failed;

  ComPtr<winrt::IItemClosedHandler> handler;
  Adopt(handler, new ClosedHandler(closed_));
  if (FAILED(item_->add_Closed(handler.Get(), &closed_token_))) {
    item_.Reset();
    return failed;
  }
  if (FAILED(item_->get_Size(&size_)) || size_.Width <= 0 || size_.Height <= 0) {
    return {StatusCode::DriverError, "capture target reports zero size"};
  }
  return Status::Ok();
}

Status WgcCapture::OpenStream() {
  if (!options_.treat_as_sdr) display_ = parts_.light.Describe(Monitor());
  if (display_.hdr_on) format_ = kFullRange;
  return CaptureStream::Open(parts_.system, winrt_device_, *item_.Get(), size_,
                             {.format = format_,
                              .buffers = kBuffers,
                              .cursor = options_.capture_cursor,
                              .min_interval_ticks = IntervalTicks(options_.fps)},
                             stream_);
}

Status WgcCapture::Start() {
  if (stream_ == nullptr) {
    return {StatusCode::DriverError, "StartCapture failed: the capture has been stopped"};
  }
  Status status = stream_->Start();
  running_ = status.ok();
  return status;
}

void WgcCapture::Stop() {
  running_ = false;
  if (item_.Get() != nullptr) (void)item_->remove_Closed(closed_token_);
  shown_ = {};
  last_.Close();
  CloseWatch();
  stream_.reset();
  item_.Reset();
  scratch_.reset();
  pictures_ = {};
}

bool WgcCapture::TryAcquire(CapturedFrame& frame) {
  if (!running_) return false;
  frame.picture.reset();
  const uint64_t start_ns = parts_.clock.SteadyNs();
  const bool fresh = stream_->TakeNewest(last_);
  const uint64_t drained_ns = parts_.clock.SteadyNs();
  if (fresh) ShowNewest();
  if (shown_.picture == nullptr) return false;
  frame = shown_;
  frame.fresh = fresh;
  frame.drain_us = static_cast<uint32_t>((drained_ns - start_ns) / 1000);
  return true;
}

void WgcCapture::ShowNewest() {
  shown_ = {};
  PicturePtr picture = PictureOf(last_.Texture());
  const winrt::SizeInt32 content = last_.ContentSize();
  shown_.time_ns = last_.TimeNs();
  const bool changed = content != size_;
  if (IsWindowTarget() && (changed || crop_age_++ % kCropStandsFrames == 0)) {
    crop_ = MeasureClientCrop(window(), content);
    crop_age_ = 1;
  }
  // A frame that was under way when the pool changed has another size than its content.
  shown_.size_changed = changed || SizeOf(*picture) != content;
  if (changed) FollowSize(content);
  if (crop_ && !shown_.size_changed) picture = Cropped(*picture);
  shown_.width =
      shown_.size_changed ? static_cast<uint32_t>(std::max(content.Width, 0)) : picture->width();
  shown_.height =
      shown_.size_changed ? static_cast<uint32_t>(std::max(content.Height, 0)) : picture->height();
  shown_.picture = std::move(picture);
}

void WgcCapture::FollowSize(winrt::SizeInt32 content) {
  size_ = content;
  if (size_.Width <= 0 || size_.Height <= 0) return;
  pictures_ = {};
  if (const HRESULT result = stream_->Recreate(format_, size_); FAILED(result)) {
    ThrowCaptureError("Recreate", result);
  }
}

WgcCapture::PicturePtr WgcCapture::PictureOf(const ComPtr<ID3D11Texture2D>& texture) {
  for (const PicturePtr& known : pictures_) {
    if (known != nullptr && known->texture() == texture.Get()) return known;
  }
  D3D11_TEXTURE2D_DESC is{};
  texture->GetDesc(&is);
  PicturePtr& place = pictures_[next_picture_++ % pictures_.size()];
  place = std::make_shared<D3d11Picture>(FormatOf(is.Format), is.Width, is.Height, texture);
  return place;
}

WgcCapture::PicturePtr WgcCapture::Cropped(const D3d11Picture& whole) {
  const uint32_t width = crop_->right - crop_->left;
  const uint32_t height = crop_->bottom - crop_->top;
  if (scratch_ == nullptr || scratch_->width() != width || scratch_->height() != height ||
      scratch_->format() != whole.format()) {
    D3D11_TEXTURE2D_DESC source{};
    whole.texture()->GetDesc(&source);
    const D3D11_TEXTURE2D_DESC wanted = {.Width = width,
                                         .Height = height,
                                         .MipLevels = 1,
                                         .ArraySize = 1,
                                         .Format = source.Format,
                                         .SampleDesc = {1, 0},
                                         .Usage = D3D11_USAGE_DEFAULT,
                                         .BindFlags = D3D11_BIND_SHADER_RESOURCE,
                                         .CPUAccessFlags = 0,
                                         .MiscFlags = 0};
    ComPtr<ID3D11Texture2D> texture;
    if (const HRESULT result = device_->CreateTexture2D(&wanted, nullptr, &texture);
        FAILED(result)) {
      ThrowCaptureError("making a texture for the window's inside", result);
    }
    scratch_ = std::make_shared<D3d11Picture>(whole.format(), width, height, texture);
  }
  context_->CopySubresourceRegion(scratch_->texture(), 0, 0, 0, 0, whole.texture(),
                                  whole.sub_resource(), &*crop_);
  return scratch_;
}

bool WgcCapture::IsDrawnSdr() const {
  return display_.hdr_on && format_ == kEightBits;
}

bool WgcCapture::SetDrawnSdr(bool drawn_sdr) {
  if (!display_.hdr_on || stream_ == nullptr) return false;
  if (drawn_sdr == IsDrawnSdr()) return true;
  // Before anything of full range is given up.
  if (drawn_sdr && !OpenWatch()) return false;
  const DirectXPixelFormat wanted = drawn_sdr ? kEightBits : kFullRange;
  const bool done = SUCCEEDED(stream_->Recreate(wanted, size_));
  if (done) {
    format_ = wanted;
    pictures_ = {};
  }
  if (!done || !drawn_sdr) CloseWatch();
  return done;
}

bool WgcCapture::OpenWatch() {
  const Status opened = CaptureStream::Open(
      parts_.system, winrt_device_, *item_.Get(), size_,
      {.format = kFullRange, .buffers = 1, .cursor = false, .min_interval_ticks = kTicksPerSecond},
      watch_);
  if (opened.ok() && watch_->Start().ok()) return true;
  CloseWatch();
  return false;
}

void WgcCapture::CloseWatch() {
  side_.Close();
  watch_.reset();
}

bool WgcCapture::TryAcquireSide(CapturedFrame& frame) {
  if (!running_ || watch_ == nullptr) return false;
  frame = {};
  // The pool has one buffer: nothing new comes before it is given back.
  side_.Close();
  if (!watch_->TakeNewest(side_)) return false;
  const winrt::SizeInt32 content = side_.ContentSize();
  const ComPtr<ID3D11Texture2D> texture = side_.Texture();
  D3D11_TEXTURE2D_DESC is{};
  texture->GetDesc(&is);
  auto picture = std::make_shared<D3d11Picture>(FormatOf(is.Format), is.Width, is.Height, texture);
  if (content != size_ || SizeOf(*picture) != size_) {
    side_.Close();
    return false;
  }
  frame.left = crop_ ? crop_->left : 0;
  frame.top = crop_ ? crop_->top : 0;
  frame.width = crop_ ? crop_->right - crop_->left : is.Width;
  frame.height = crop_ ? crop_->bottom - crop_->top : is.Height;
  frame.time_ns = side_.TimeNs();
  frame.fresh = true;
  frame.picture = std::move(picture);
  return true;
}

DisplayDescription WgcCapture::CurrentDisplay() {
  return options_.treat_as_sdr ? DisplayDescription{} : parts_.light.Describe(Monitor());
}

bool WgcCapture::TargetGone() const {
  return *closed_ || (IsWindowTarget() && IsWindow(window()) == 0);
}

}  // namespace orventa
