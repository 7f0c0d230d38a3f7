// A texture that is nothing but its references, and a device without even those: for
// encoders that only hand them on.
#pragma once

#include <d3d11.h>

namespace orventa {

// COM's interfaces have no virtual destructor, and nobody deletes through one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

class FakeTexture final : public ID3D11Texture2D {
 public:
  ULONG references = 0;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }
  void STDMETHODCALLTYPE GetDevice(ID3D11Device** device) override { *device = nullptr; }
  HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, UINT*, void*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, UINT, const void*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetPrivateDataInterface(REFGUID, const IUnknown*) override {
    return E_NOTIMPL;
  }
  void STDMETHODCALLTYPE GetType(D3D11_RESOURCE_DIMENSION* type) override {
    *type = D3D11_RESOURCE_DIMENSION_TEXTURE2D;
  }
  void STDMETHODCALLTYPE SetEvictionPriority(UINT) override {}
  UINT STDMETHODCALLTYPE GetEvictionPriority() override { return 0; }
  void STDMETHODCALLTYPE GetDesc(D3D11_TEXTURE2D_DESC* description) override { *description = {}; }
};

#pragma GCC diagnostic pop

// Its references are those of a texture; every other call would crash.
inline ID3D11Device* FakeD3d11Device(FakeTexture& stand_in) {
  return reinterpret_cast<ID3D11Device*>(&stand_in);
}

}  // namespace orventa
