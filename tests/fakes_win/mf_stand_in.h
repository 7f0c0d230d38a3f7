// What transforms of Media Foundation that tests make have in common: all that they do
// not do, and the way to register one with the system for this process.
#pragma once

// First: the other headers of the system lean on it.
#include <windows.h>

#include <mfapi.h>
#include <mftransform.h>

#include <span>

#include "base/base_win/com_object.h"

namespace orventa {

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// A method that nobody calls.
#define ORVENTA_NOT_HERE(name, ...)                      \
  HRESULT STDMETHODCALLTYPE name(__VA_ARGS__) override { \
    return E_NOTIMPL;                                    \
  }

// `Base` is IMFTransform or something made of it.
template <class Base>
class MfStandIn : public Base {
 public:
  ORVENTA_NOT_HERE(GetStreamLimits, DWORD*, DWORD*, DWORD*, DWORD*)
  ORVENTA_NOT_HERE(GetStreamCount, DWORD*, DWORD*)
  ORVENTA_NOT_HERE(GetStreamIDs, DWORD, DWORD*, DWORD, DWORD*)
  ORVENTA_NOT_HERE(GetInputStreamInfo, DWORD, MFT_INPUT_STREAM_INFO*)
  ORVENTA_NOT_HERE(GetAttributes, IMFAttributes**)
  ORVENTA_NOT_HERE(GetInputStreamAttributes, DWORD, IMFAttributes**)
  ORVENTA_NOT_HERE(GetOutputStreamAttributes, DWORD, IMFAttributes**)
  ORVENTA_NOT_HERE(DeleteInputStream, DWORD)
  ORVENTA_NOT_HERE(AddInputStreams, DWORD, DWORD*)
  ORVENTA_NOT_HERE(GetInputAvailableType, DWORD, DWORD, IMFMediaType**)
  ORVENTA_NOT_HERE(GetOutputAvailableType, DWORD, DWORD, IMFMediaType**)
  ORVENTA_NOT_HERE(GetInputCurrentType, DWORD, IMFMediaType**)
  ORVENTA_NOT_HERE(GetInputStatus, DWORD, DWORD*)
  ORVENTA_NOT_HERE(GetOutputStatus, DWORD*)
  ORVENTA_NOT_HERE(SetOutputBounds, LONGLONG, LONGLONG)
  ORVENTA_NOT_HERE(ProcessEvent, DWORD, IMFMediaEvent*)
};

template <class Transform>
class MfFactory final : public ComObject<IClassFactory> {
 public:
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID id, void** out) override {
    Microsoft::WRL::ComPtr<IMFTransform> transform;
    Adopt(transform, new Transform);
    return transform.CopyTo(id, out);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

#pragma GCC diagnostic pop

// A transform that this process alone can find, for as long as one lives.
template <class Transform>
class MfRegistration {
 public:
  using Types = std::span<const MFT_REGISTER_TYPE_INFO>;
  MfRegistration(const GUID& category, UINT32 kind, Types in, Types out) {
    Adopt(factory_, new MfFactory<Transform>);
    MFTRegisterLocal(factory_.Get(), category, L"test", kind, static_cast<UINT32>(in.size()),
                     in.data(), static_cast<UINT32>(out.size()), out.data());
  }
  ~MfRegistration() { MFTUnregisterLocal(factory_.Get()); }
  MfRegistration(const MfRegistration&) = delete;
  MfRegistration& operator=(const MfRegistration&) = delete;

 private:
  Microsoft::WRL::ComPtr<IClassFactory> factory_;
};

}  // namespace orventa
