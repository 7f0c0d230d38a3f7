#include "tests/encoders/mf/fake_mf.h"

#include <d3d11.h>
#include <mferror.h>

#include <cstring>
#include <deque>
#include <vector>

#include "encoders/mf/mf_names.h"
#include "tests/fakes_win/mf_stand_in.h"

namespace orventa {

FakeMf fake_mf;

namespace {

using Microsoft::WRL::ComPtr;
using namespace mf;

HRESULT Breach(const std::string& rule, HRESULT result = E_UNEXPECTED) {
  fake_mf.Break(rule);
  return result;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// What nobody asks of its properties.
class NoCodecApi : public ICodecAPI {
 public:
  ORVENTA_NOT_HERE(IsModifiable, const GUID*)
  ORVENTA_NOT_HERE(GetParameterRange, const GUID*, VARIANT*, VARIANT*, VARIANT*)
  ORVENTA_NOT_HERE(GetParameterValues, const GUID*, VARIANT**, ULONG*)
  ORVENTA_NOT_HERE(GetDefaultValue, const GUID*, VARIANT*)
  ORVENTA_NOT_HERE(GetValue, const GUID*, VARIANT*)
  ORVENTA_NOT_HERE(RegisterForEvent, const GUID*, LONG_PTR)
  ORVENTA_NOT_HERE(UnregisterForEvent, const GUID*)
  ORVENTA_NOT_HERE(SetAllDefaults)
  ORVENTA_NOT_HERE(SetValueWithNotify, const GUID*, VARIANT*, GUID**, ULONG*)
  ORVENTA_NOT_HERE(SetAllDefaultsWithNotify, GUID**, ULONG*)
  ORVENTA_NOT_HERE(GetAllSettings, IStream*)
  ORVENTA_NOT_HERE(SetAllSettings, IStream*)
  ORVENTA_NOT_HERE(SetAllSettingsWithNotify, IStream*, GUID**, ULONG*)
};

class FakeTransform;
FakeTransform* newest = nullptr;

class FakeTransform final : public MfStandIn<IMFTransform>,
                            public IMFMediaEventGenerator,
                            public NoCodecApi,
                            public IMFShutdown {
 public:
  FakeTransform() {
    newest = this;
    ++fake_mf.alive;
    MFCreateEventQueue(&events_);
    MFCreateAttributes(&attributes_, 3);
    attributes_->SetUINT32(MF_TRANSFORM_ASYNC, fake_mf.async);
    attributes_->SetUINT32(MF_SA_D3D11_AWARE, fake_mf.takes_textures);
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override {
    *out = nullptr;
    if (id == __uuidof(IUnknown)) *out = static_cast<IMFTransform*>(this);
    if (id == __uuidof(IMFTransform)) *out = static_cast<IMFTransform*>(this);
    if (id == __uuidof(IMFMediaEventGenerator)) *out = static_cast<IMFMediaEventGenerator*>(this);
    if (id == __uuidof(ICodecAPI)) *out = static_cast<ICodecAPI*>(this);
    if (id == __uuidof(IMFShutdown)) *out = static_cast<IMFShutdown*>(this);
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

  // --- IMFTransform ---

  HRESULT STDMETHODCALLTYPE GetAttributes(IMFAttributes** attributes) override {
    return attributes_.CopyTo(attributes);
  }

  HRESULT STDMETHODCALLTYPE SetOutputType(DWORD, IMFMediaType* type, DWORD flags) override {
    if (const HRESULT result = Enter("SetOutputType"); FAILED(result)) return result;
    UINT64 size = 0;
    type->GetUINT64(MF_MT_FRAME_SIZE, &size);
    if (size >> 32 > fake_mf.max_width) return MF_E_INVALIDMEDIATYPE;
    if (flags == MFT_SET_TYPE_TEST_ONLY) return S_OK;
    if (!has_manager_) return Breach("a type before the device");
    fake_mf.out = type;
    new_type_ = false;
    GUID subtype{};
    type->GetGUID(MF_MT_SUBTYPE, &subtype);
    const std::vector<uint8_t>& header = header_ = FakeHeader(subtype == MFVideoFormat_HEVC  ? 1
                                                              : subtype == MFVideoFormat_AV1 ? 2
                                                                                             : 0);
    if (fake_mf.header_in_type) {
      type->SetBlob(MF_MT_MPEG_SEQUENCE_HEADER, header.data(), static_cast<UINT32>(header.size()));
    }
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE SetInputType(DWORD, IMFMediaType* type, DWORD) override {
    if (const HRESULT result = Enter("SetInputType"); FAILED(result)) return result;
    if (header_.empty())
      return Breach("the type of pictures came first", MF_E_TRANSFORM_TYPE_NOT_SET);
    fake_mf.in = type;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetOutputCurrentType(DWORD, IMFMediaType** type) override {
    return fake_mf.out.CopyTo(type);
  }
  HRESULT STDMETHODCALLTYPE GetOutputAvailableType(DWORD, DWORD, IMFMediaType** type) override {
    return fake_mf.out.CopyTo(type);
  }
  HRESULT STDMETHODCALLTYPE GetOutputStreamInfo(DWORD, MFT_OUTPUT_STREAM_INFO* info) override {
    *info = {};
    info->cbSize = 4096;
    if (fake_mf.gives_samples) info->dwFlags = MFT_OUTPUT_STREAM_PROVIDES_SAMPLES;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE ProcessMessage(MFT_MESSAGE_TYPE message, ULONG_PTR parameter) override {
    switch (message) {
      case MFT_MESSAGE_SET_D3D_MANAGER:
        if (const HRESULT result = Enter("SET_D3D_MANAGER"); FAILED(result)) return result;
        return SetManager(reinterpret_cast<IUnknown*>(parameter));
      case MFT_MESSAGE_NOTIFY_START_OF_STREAM:
        if (const HRESULT result = Enter("START_OF_STREAM"); FAILED(result)) return result;
        if (!fake_mf.in) return Breach("a stream without types");
        ++fake_mf.started;
        streaming_ = true;
        Ask();
        return S_OK;
      case MFT_MESSAGE_NOTIFY_END_OF_STREAM: ended_ = true; return S_OK;
      case MFT_MESSAGE_COMMAND_DRAIN:
        if (!ended_ || !streaming_) return Breach("a drain in the middle of a stream");
        draining_ = true;
        Give();
        return S_OK;
      case MFT_MESSAGE_COMMAND_FLUSH: inside_.clear(); return S_OK;
      default: return Enter("ProcessMessage");
    }
  }

  HRESULT STDMETHODCALLTYPE ProcessInput(DWORD, IMFSample* sample, DWORD) override {
    if (const HRESULT result = Enter("ProcessInput"); FAILED(result)) return result;
    if (draining_ || wanted_ == 0) return Breach("a picture not asked for", MF_E_NOTACCEPTING);
    if (!HoldsTexture(*sample)) return Breach("a picture that is no texture");
    --wanted_;
    ++fake_mf.taken;
    Picture picture{sample, 0, force_};
    sample->GetSampleTime(&picture.time);
    force_ = false;
    inside_.push_back(picture);
    Give();
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE ProcessOutput(DWORD, DWORD, MFT_OUTPUT_DATA_BUFFER* data,
                                          DWORD*) override {
    if (const HRESULT result = Enter("ProcessOutput"); FAILED(result)) return result;
    if (announced_ == 0) return Breach("a packet not told of");
    if ((data->pSample == nullptr) != fake_mf.gives_samples) return Breach("another's sample");
    --announced_;
    if (new_type_) {
      Announce();
      return MF_E_TRANSFORM_STREAM_CHANGE;
    }
    Write(ready_.front(), data->pSample);
    ready_.pop_front();
    Ask();
    return S_OK;
  }

  // --- ICodecAPI ---

  HRESULT STDMETHODCALLTYPE IsSupported(const GUID* id) override {
    return *id == CODECAPI_AVEncVideoForceKeyFrame && !fake_mf.forces_keyframes ? E_NOTIMPL : S_OK;
  }
  HRESULT STDMETHODCALLTYPE SetValue(const GUID* id, VARIANT* value) override {
    if (const HRESULT result = Enter("SetValue"); FAILED(result)) return result;
    if (*id == fake_mf.refused) return E_INVALIDARG;
    if (*id == CODECAPI_AVEncVideoForceKeyFrame) {
      if (value->vt != VT_UI4) return Breach("a keyframe by another type");
      force_ = true;
    } else if (!header_.empty()) {
      return Breach("a property after the types");
    }
    // The others lie in its first bytes, and in nothing behind them.
    properties.emplace_back(*id, static_cast<int64_t>(value->ullVal));
    return S_OK;
  }

  // --- events and the end ---

  HRESULT STDMETHODCALLTYPE GetEvent(DWORD flags, IMFMediaEvent** event) override {
    return events_->GetEvent(flags, event);
  }
  HRESULT STDMETHODCALLTYPE BeginGetEvent(IMFAsyncCallback* callback, IUnknown* state) override {
    return events_->BeginGetEvent(callback, state);
  }
  HRESULT STDMETHODCALLTYPE EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) override {
    return events_->EndGetEvent(result, event);
  }
  HRESULT STDMETHODCALLTYPE QueueEvent(MediaEventType type, REFGUID extended, HRESULT status,
                                       const PROPVARIANT* value) override {
    return events_->QueueEventParamVar(type, extended, status, value);
  }
  HRESULT STDMETHODCALLTYPE Shutdown() override {
    shut_ = true;
    return events_->Shutdown();
  }
  HRESULT STDMETHODCALLTYPE GetShutdownStatus(MFSHUTDOWN_STATUS*) override { return E_NOTIMPL; }

  std::vector<std::pair<GUID, int64_t>> properties;

 private:
  struct Picture {
    ComPtr<IMFSample> sample;
    LONGLONG time = 0;
    bool keyframe = false;
  };

  ~FakeTransform() {
    if (streaming_ && !shut_) Breach("never shut down");
    if (!inside_.empty()) Breach("ended with pictures inside, and no flush");
    if (newest == this) newest = nullptr;
    --fake_mf.alive;
  }

  HRESULT Enter(const char* call) const {
    UINT32 unlocked = FALSE;
    attributes_->GetUINT32(MF_TRANSFORM_ASYNC_UNLOCK, &unlocked);
    if (shut_) return Breach(std::string(call) + " after the end", MF_E_SHUTDOWN);
    if (!unlocked) return Breach(std::string(call) + " while locked", MF_E_TRANSFORM_ASYNC_LOCKED);
    return fake_mf.Refuses(call) ? fake_mf.failure : S_OK;
  }

  // A device that cannot be reached through the manager is of no use.
  HRESULT SetManager(IUnknown* unknown) {
    has_manager_ = unknown != nullptr;
    if (!has_manager_) return S_OK;
    ComPtr<IMFDXGIDeviceManager> manager;
    ComPtr<ID3D11Device> device;
    HANDLE handle = nullptr;
    if (FAILED(unknown->QueryInterface(IID_PPV_ARGS(&manager))) ||
        FAILED(manager->OpenDeviceHandle(&handle)) ||
        FAILED(manager->GetVideoService(handle, IID_PPV_ARGS(&device)))) {
      return Breach("no device in the manager", MF_E_UNSUPPORTED_D3D_TYPE);
    }
    return manager->CloseDeviceHandle(handle);
  }

  static bool HoldsTexture(IMFSample& sample) {
    ComPtr<IMFMediaBuffer> buffer;
    ComPtr<IMFDXGIBuffer> dxgi;
    ComPtr<ID3D11Texture2D> texture;
    DWORD length = 0;
    LONGLONG duration = 0;
    return SUCCEEDED(sample.GetBufferByIndex(0, &buffer)) && SUCCEEDED(buffer.As(&dxgi)) &&
           SUCCEEDED(dxgi->GetResource(IID_PPV_ARGS(&texture))) &&
           SUCCEEDED(buffer->GetCurrentLength(&length)) && length > 0 &&
           SUCCEEDED(sample.GetSampleDuration(&duration)) && duration > 0;
  }

  void Tell(MediaEventType type) { events_->QueueEventParamVar(type, GUID_NULL, S_OK, nullptr); }
  void Announce() {
    ++announced_;
    Tell(METransformHaveOutput);
  }
  void Ask() {
    while (!draining_ && wanted_ + inside_.size() + ready_.size() < fake_mf.queue) {
      ++wanted_;
      Tell(METransformNeedInput);
    }
  }
  void Give() {
    while (inside_.size() > (draining_ ? 0 : fake_mf.delay)) {
      if (given_++ == 0) new_type_ = fake_mf.changes_its_type;
      ready_.push_back(inside_.front());
      inside_.pop_front();
      Announce();
    }
    if (draining_) Tell(METransformDrainComplete);
    Ask();
  }

  void Write(const Picture& picture, IMFSample*& sample) {
    const bool keyframe = picture.keyframe || written_ == 0;
    std::vector<uint8_t> bytes = {0, 0, 0, 1, 0x41, 0x80};
    if (keyframe && !fake_mf.header_in_type) {
      bytes.insert(bytes.begin(), header_.begin(), header_.end());
    }
    ComPtr<IMFMediaBuffer> buffer;
    if (sample == nullptr) {
      MFCreateSample(&sample);
      MFCreateMemoryBuffer(static_cast<DWORD>(bytes.size()), &buffer);
      sample->AddBuffer(buffer.Get());
    } else {
      sample->GetBufferByIndex(0, &buffer);
    }
    BYTE* data = nullptr;
    buffer->Lock(&data, nullptr, nullptr);
    std::memcpy(data, bytes.data(), bytes.size());
    buffer->Unlock();
    buffer->SetCurrentLength(static_cast<DWORD>(bytes.size()));
    sample->SetSampleTime(picture.time + fake_mf.rounding);
    sample->SetUINT32(MFSampleExtension_CleanPoint, keyframe);
    ++written_;
  }

  ULONG references_ = 1;
  ComPtr<IMFMediaEventQueue> events_;
  ComPtr<IMFAttributes> attributes_;
  std::vector<uint8_t> header_;  // of the type, once there is one
  std::deque<Picture> inside_;
  std::deque<Picture> ready_;
  uint32_t wanted_ = 0;     // told and not yet given
  uint32_t announced_ = 0;  // told and not yet taken
  uint32_t given_ = 0;
  uint32_t written_ = 0;
  bool has_manager_ = false;
  bool streaming_ = false;
  bool ended_ = false;
  bool draining_ = false;
  bool new_type_ = false;
  bool force_ = false;
  bool shut_ = false;
};

#pragma GCC diagnostic pop

HRESULT STDAPICALLTYPE Enumerate(GUID category, UINT32 flags, const MFT_REGISTER_TYPE_INFO* in,
                                 const MFT_REGISTER_TYPE_INFO* out, IMFActivate*** list,
                                 UINT32* count) {
  if ((flags & MFT_ENUM_FLAG_HARDWARE) == 0) Breach("not only transforms of cards");
  if (out->guidSubtype == MFVideoFormat_AV1 && !fake_mf.has_av1) return S_OK;
  const HRESULT result =
      MFTEnumEx(category, MFT_ENUM_FLAG_ASYNCMFT | MFT_ENUM_FLAG_LOCALMFT, in, out, list, count);
  for (UINT32 i = 0; SUCCEEDED(result) && i < *count; ++i) {
    (*list)[i]->SetString(kHardwareVendor, fake_mf.vendor);
  }
  return result;
}

HRESULT STDAPICALLTYPE Enumerate2(GUID category, UINT32 flags, const MFT_REGISTER_TYPE_INFO* in,
                                  const MFT_REGISTER_TYPE_INFO* out, IMFAttributes* filter,
                                  IMFActivate*** list, UINT32* count) {
  if (fake_mf.Refuses("MFTEnum2")) return fake_mf.failure;
  fake_mf.luid = {};
  filter->GetBlob(kAdapterLuid, reinterpret_cast<UINT8*>(&fake_mf.luid), sizeof(LUID), nullptr);
  return Enumerate(category, flags, in, out, list, count);
}

}  // namespace

int64_t FakeMfProperty(const GUID& id) {
  for (const auto& [known, value] : newest->properties) {
    if (known == id) return value;
  }
  return -1;
}

void TellFakeMfError(HRESULT result) {
  newest->QueueEvent(MEError, GUID_NULL, result, nullptr);
}

const MediaFoundation& FakeMediaFoundation() {
  static const MFT_REGISTER_TYPE_INFO kIn[] = {{MFMediaType_Video, MFVideoFormat_NV12},
                                               {MFMediaType_Video, MFVideoFormat_P010}};
  static const MFT_REGISTER_TYPE_INFO kOut[] = {{MFMediaType_Video, MFVideoFormat_H264},
                                                {MFMediaType_Video, MFVideoFormat_HEVC},
                                                {MFMediaType_Video, MFVideoFormat_AV1}};
  static const MfRegistration<FakeTransform> registration(MFT_CATEGORY_VIDEO_ENCODER,
                                                          MFT_ENUM_FLAG_ASYNCMFT, kIn, kOut);
  static const MediaFoundation functions = [] {
    MediaFoundation copy = MediaFoundation::OfSystem();
    copy.enumerate = Enumerate;
    copy.enumerate2 = Enumerate2;
    return copy;
  }();
  return functions;
}

}  // namespace orventa
