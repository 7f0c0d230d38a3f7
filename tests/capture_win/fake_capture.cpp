#include "tests/capture_win/fake_capture.h"

#include <deque>
#include <memory>
#include <utility>

#include "base/base_win/com_object.h"

using Microsoft::WRL::ComPtr;

namespace orventa {
namespace {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// An object with all of these interfaces; each of them may be refused by name.
template <class First, class... Others>
class FakeObject : public First, public Others... {
 public:
  explicit FakeObject(FakeCaptureSystem& system) : system_(system) { ++system.alive; }
  virtual ~FakeObject() { --system_.alive; }
  FakeObject(const FakeObject&) = delete;
  FakeObject& operator=(const FakeObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
    *out = nullptr;
    if (id == __uuidof(IUnknown) || id == __uuidof(IInspectable)) *out = static_cast<First*>(this);
    (Offer<First>(id, out), ..., Offer<Others>(id, out));
    if (*out == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }
  // No `override`: interop interfaces have none of these.
  virtual HRESULT STDMETHODCALLTYPE GetIids(ULONG*, IID**) { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING*) { return E_NOTIMPL; }
  virtual HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel*) { return E_NOTIMPL; }

 protected:
  FakeCaptureSystem& system_;

 private:
  template <class Interface>
  void Offer(REFIID id, void** out) {
    if (id == __uuidof(Interface) && !Refuses(id)) *out = static_cast<Interface*>(this);
  }
  bool Refuses(REFIID id) const {
    return (id == __uuidof(winrt::IGraphicsCaptureSession2) && system_.failing == "Session2") ||
           (id == __uuidof(winrt::IGraphicsCaptureSession3) && system_.failing == "Session3") ||
           (id == __uuidof(winrt::IGraphicsCaptureSession5) && system_.failing == "Session5");
  }

  ULONG references_ = 1;
};

struct Buffer {
  ComPtr<ID3D11Texture2D> texture;
  bool free = true;
};
using Buffers = std::vector<Buffer>;

// Its own surface as well.
class FakeFrame final
    : public FakeObject<winrt::IDirect3D11CaptureFrame, winrt::IClosable, winrt::IDirect3DSurface,
                        winrt::IDirect3DDxgiInterfaceAccess> {
 public:
  FakeFrame(FakeCaptureSystem& system, size_t pool, std::shared_ptr<Buffers> buffers, size_t buffer,
            winrt::SizeInt32 content, int64_t ticks)
      : FakeObject(system),
        pool_(pool),
        buffers_(std::move(buffers)),
        buffer_(buffer),
        content_(content),
        ticks_(ticks) {
    (*buffers_)[buffer_].free = false;
  }
  ~FakeFrame() override {
    if (!closed_) system_.Breach("a frame was let go without being closed");
  }
  HRESULT STDMETHODCALLTYPE get_Surface(winrt::IDirect3DSurface** out) override {
    if (closed_) system_.Breach("a closed frame was read");
    AddRef();
    *out = this;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_Description(winrt::Direct3DSurfaceDescription*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetInterface(REFIID id, void** out) override {
    const HRESULT answer = system_.Answer("GetInterface");
    return FAILED(answer) ? answer : (*buffers_)[buffer_].texture->QueryInterface(id, out);
  }
  HRESULT STDMETHODCALLTYPE get_SystemRelativeTime(winrt::TimeSpan* out) override {
    out->Duration = ticks_;
    return system_.Answer("get_SystemRelativeTime");
  }
  HRESULT STDMETHODCALLTYPE get_ContentSize(winrt::SizeInt32* out) override {
    *out = content_;
    return system_.Answer("get_ContentSize");
  }
  HRESULT STDMETHODCALLTYPE Close() override {
    if (closed_) system_.Breach("a frame was closed twice");
    closed_ = true;
    (*buffers_)[buffer_].free = true;
    if (taken) --system_.pools[pool_].held;
    return S_OK;
  }

  bool taken = false;

 private:
  const size_t pool_;
  const std::shared_ptr<Buffers> buffers_;
  const size_t buffer_;
  const winrt::SizeInt32 content_;
  const int64_t ticks_;
  bool closed_ = false;
};

class FakeSession final
    : public FakeObject<winrt::IGraphicsCaptureSession, winrt::IGraphicsCaptureSession2,
                        winrt::IGraphicsCaptureSession3, winrt::IGraphicsCaptureSession5,
                        winrt::IClosable> {
 public:
  FakeSession(FakeCaptureSystem& system, size_t pool) : FakeObject(system), pool_(pool) {}
  ~FakeSession() override {
    if (!closed_) system_.Breach("a session was let go without being closed");
  }
  HRESULT STDMETHODCALLTYPE StartCapture() override {
    const HRESULT answer = system_.Answer("StartCapture");
    state().started = SUCCEEDED(answer);
    return answer;
  }
  HRESULT STDMETHODCALLTYPE get_IsCursorCaptureEnabled(boolean*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_IsCursorCaptureEnabled(boolean value) override {
    state().cursor = value;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_IsBorderRequired(boolean*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_IsBorderRequired(boolean value) override {
    state().border = value;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get_MinUpdateInterval(winrt::TimeSpan*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE put_MinUpdateInterval(winrt::TimeSpan value) override {
    state().interval = value.Duration;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Close() override {
    state().started = false;
    closed_ = true;
    return S_OK;
  }

 private:
  FakePoolState& state() { return system_.pools[pool_]; }
  const size_t pool_;
  bool closed_ = false;
};

}  // namespace

class FakePool final : public FakeObject<winrt::IDirect3D11CaptureFramePool, winrt::IClosable> {
 public:
  FakePool(FakeCaptureSystem& system, size_t index) : FakeObject(system), index_(index) {
    MakeBuffers();
    system.live_pools.push_back(this);
  }
  ~FakePool() override {
    if (!state().closed) system_.Breach("a pool was let go without being closed");
    std::erase(system_.live_pools, this);
  }
  HRESULT STDMETHODCALLTYPE Recreate(winrt::IDirect3DDevice*, winrt::DirectXPixelFormat format,
                                     int32_t buffers, winrt::SizeInt32 size) override {
    if (const HRESULT answer = system_.Answer("Recreate"); FAILED(answer)) return answer;
    ++state().recreated;
    DropWaiting();
    if (system_.late_frame) Compose(size, 0, 0);
    state().format = format;
    state().buffers = buffers;
    state().size = size;
    MakeBuffers();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE TryGetNextFrame(winrt::IDirect3D11CaptureFrame** out) override {
    *out = nullptr;
    if (const HRESULT answer = system_.Answer("TryGetNextFrame"); FAILED(answer)) return answer;
    if (waiting_.empty()) return S_OK;
    waiting_.front()->taken = true;
    *out = waiting_.front();
    waiting_.pop_front();
    ++state().held;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE add_FrameArrived(IUnknown*, EventRegistrationToken*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE remove_FrameArrived(EventRegistrationToken) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE CreateCaptureSession(winrt::IGraphicsCaptureItem*,
                                                 winrt::IGraphicsCaptureSession** out) override {
    const HRESULT answer = system_.Answer("CreateCaptureSession");
    *out = SUCCEEDED(answer) ? new FakeSession(system_, index_) : nullptr;
    return answer;
  }
  HRESULT STDMETHODCALLTYPE get_DispatcherQueue(IInspectable**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Close() override {
    state().closed = true;
    DropWaiting();
    return S_OK;
  }

  void Compose(winrt::SizeInt32 content, int64_t ticks, uint8_t shade) {
    if (!state().started || state().closed) return;
    for (size_t i = 0; i < buffers_->size(); ++i) {
      if (!(*buffers_)[i].free) continue;
      Draw((*buffers_)[i].texture.Get(), shade);
      waiting_.push_back(new FakeFrame(system_, index_, buffers_, i, content, ticks));
      return;
    }
    ++state().dropped;
  }

 private:
  FakePoolState& state() { return system_.pools[index_]; }

  void MakeBuffers() {
    buffers_ = std::make_shared<Buffers>(static_cast<size_t>(state().buffers));
    const D3D11_TEXTURE2D_DESC wanted = {static_cast<UINT>(state().size.Width),
                                         static_cast<UINT>(state().size.Height),
                                         1,
                                         1,
                                         static_cast<DXGI_FORMAT>(state().format),
                                         {1, 0},
                                         D3D11_USAGE_DEFAULT,
                                         D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET,
                                         0,
                                         0};
    for (Buffer& buffer : *buffers_) {
      if (FAILED(system_.device->CreateTexture2D(&wanted, nullptr, &buffer.texture))) {
        system_.Breach("a pool of a size or format that there is none of");
      }
    }
  }
  void Draw(ID3D11Texture2D* texture, uint8_t shade) {
    const auto width = static_cast<size_t>(state().size.Width);
    const size_t bytes = state().format == winrt::DirectXPixelFormat::R16G16B16A16Float ? 8 : 4;
    pixels_.resize(width * bytes * static_cast<size_t>(state().size.Height));
    for (size_t i = 0; i < pixels_.size(); ++i) {
      const size_t pixel = i / bytes;
      pixels_[i] = static_cast<uint8_t>(pixel % width + pixel / width * 2 + shade);
    }
    system_.context->UpdateSubresource(texture, 0, nullptr, pixels_.data(),
                                       static_cast<UINT>(width * bytes), 0);
  }
  void DropWaiting() {
    for (FakeFrame* frame : waiting_) {
      frame->Close();
      frame->Release();
    }
    waiting_.clear();
  }

  const size_t index_;
  std::shared_ptr<Buffers> buffers_;
  std::deque<FakeFrame*> waiting_;
  std::vector<uint8_t> pixels_;
};

namespace {

class FakeItem final : public FakeObject<winrt::IGraphicsCaptureItem> {
 public:
  using FakeObject::FakeObject;
  ~FakeItem() override {
    if (system_.closed_handler.Get() != nullptr) system_.Breach("a handler was left behind");
  }
  HRESULT STDMETHODCALLTYPE get_DisplayName(HSTRING*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_Size(winrt::SizeInt32* out) override {
    *out = system_.item_size;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE add_Closed(winrt::IItemClosedHandler* handler,
                                       EventRegistrationToken* token) override {
    if (const HRESULT answer = system_.Answer("add_Closed"); FAILED(answer)) return answer;
    ComPtr<IAgileObject> agile;
    if (FAILED(handler->QueryInterface(IID_PPV_ARGS(&agile)))) system_.Breach("handler not agile");
    system_.closed_handler = handler;
    token->value = kToken;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE remove_Closed(EventRegistrationToken token) override {
    if (token.value != kToken) system_.Breach("another handler was removed");
    system_.closed_handler.Reset();
    return S_OK;
  }

 private:
  static constexpr int64_t kToken = 0x1234'5678'9ABC;
};

// All that the system's doors give.
class FakeStatics final
    : public FakeObject<winrt::IGraphicsCaptureSessionStatics, winrt::IDirect3DDevice,
                        winrt::IDirect3D11CaptureFramePoolStatics2,
                        winrt::IGraphicsCaptureItemInterop> {
 public:
  using FakeObject::FakeObject;
  HRESULT STDMETHODCALLTYPE IsSupported(boolean* out) override {
    *out = system_.supported ? TRUE : FALSE;
    return system_.Answer("IsSupported");
  }
  HRESULT STDMETHODCALLTYPE Trim() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE CreateFreeThreaded(winrt::IDirect3DDevice*,
                                               winrt::DirectXPixelFormat format, int32_t buffers,
                                               winrt::SizeInt32 size,
                                               winrt::IDirect3D11CaptureFramePool** out) override {
    *out = nullptr;
    if (const HRESULT answer = system_.Answer("CreateFreeThreaded"); FAILED(answer)) return answer;
    system_.pools.push_back({.format = format, .buffers = buffers, .size = size});
    *out = new FakePool(system_, system_.pools.size() - 1);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE CreateForWindow(HWND window, REFIID id, void** out) override {
    system_.window = window;
    return Create("CreateForWindow", id, out);
  }
  HRESULT STDMETHODCALLTYPE CreateForMonitor(HMONITOR monitor, REFIID id, void** out) override {
    system_.monitor = monitor;
    return Create("CreateForMonitor", id, out);
  }

 private:
  HRESULT Create(const char* call, REFIID id, void** out) {
    *out = nullptr;
    if (const HRESULT answer = system_.Answer(call); FAILED(answer)) return answer;
    ComPtr<FakeItem> item;
    Adopt(item, new FakeItem(system_));
    return item->QueryInterface(id, out);
  }
};

#pragma GCC diagnostic pop

template <class Interface>
HRESULT Give(FakeCaptureSystem& system, const char* call, Interface** out) {
  const HRESULT answer = system.Answer(call);
  *out = SUCCEEDED(answer) ? new FakeStatics(system) : nullptr;
  return answer;
}

}  // namespace

HRESULT FakeCaptureSystem::SessionStatics(winrt::IGraphicsCaptureSessionStatics** out) {
  return Give(*this, "SessionStatics", out);
}
HRESULT FakeCaptureSystem::ItemInterop(winrt::IGraphicsCaptureItemInterop** out) {
  return Give(*this, "ItemInterop", out);
}
HRESULT FakeCaptureSystem::PoolStatics(winrt::IDirect3D11CaptureFramePoolStatics2** out) {
  return Give(*this, "PoolStatics", out);
}
HRESULT FakeCaptureSystem::WrapDevice(IDXGIDevice* dxgi, IInspectable** out) {
  if (FAILED(dxgi->QueryInterface(IID_PPV_ARGS(&device)))) return E_INVALIDARG;
  device->GetImmediateContext(&context);
  winrt::IDirect3DDevice* wrapped = nullptr;
  const HRESULT answer = Give(*this, "WrapDevice", &wrapped);
  *out = wrapped;
  return answer;
}

void FakeCaptureSystem::Compose(winrt::SizeInt32 content, int64_t time_ticks, uint8_t shade) {
  for (FakePool* pool : live_pools) pool->Compose(content, time_ticks, shade);
}

void FakeCaptureSystem::CloseItem() {
  const ComPtr<winrt::IItemClosedHandler> handler = closed_handler;
  if (handler.Get() != nullptr) handler->Invoke(nullptr, nullptr);
}

void FakeCaptureSystem::Breach(const char* rule) {
  if (breach.empty()) breach = rule;
}

uint8_t ByteAt(ID3D11Texture2D& texture, size_t byte, size_t row) {
  ComPtr<ID3D11Device> device;
  ComPtr<ID3D11DeviceContext> context;
  texture.GetDevice(&device);
  device->GetImmediateContext(&context);
  D3D11_TEXTURE2D_DESC wanted{};
  texture.GetDesc(&wanted);
  wanted.Usage = D3D11_USAGE_STAGING;
  wanted.BindFlags = 0;
  wanted.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
  ComPtr<ID3D11Texture2D> staging;
  if (FAILED(device->CreateTexture2D(&wanted, nullptr, &staging))) return 0;
  context->CopyResource(staging.Get(), &texture);
  D3D11_MAPPED_SUBRESOURCE mapped{};
  if (FAILED(context->Map(staging.Get(), 0, D3D11_MAP_READ, 0, &mapped))) return 0;
  const uint8_t found = static_cast<const uint8_t*>(mapped.pData)[row * mapped.RowPitch + byte];
  context->Unmap(staging.Get(), 0);
  return found;
}

}  // namespace orventa
