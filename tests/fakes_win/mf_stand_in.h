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

// `Base` is IMFTransform or something made of it.
template <class Base>
class MfStandIn : public Base {
 public:
  HRESULT STDMETHODCALLTYPE GetStreamLimits(DWORD*, DWORD*, DWORD*, DWORD*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetStreamCount(DWORD*, DWORD*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetStreamIDs(DWORD, DWORD*, DWORD, DWORD*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetInputStreamInfo(DWORD, MFT_INPUT_STREAM_INFO*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetAttributes(IMFAttributes**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetInputStreamAttributes(DWORD, IMFAttributes**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetOutputStreamAttributes(DWORD, IMFAttributes**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE DeleteInputStream(DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE AddInputStreams(DWORD, DWORD*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetInputAvailableType(DWORD, DWORD, IMFMediaType**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetOutputAvailableType(DWORD, DWORD, IMFMediaType**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetInputCurrentType(DWORD, IMFMediaType**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE GetInputStatus(DWORD, DWORD*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetOutputStatus(DWORD*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetOutputBounds(LONGLONG, LONGLONG) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE ProcessEvent(DWORD, IMFMediaEvent*) override { return E_NOTIMPL; }
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
