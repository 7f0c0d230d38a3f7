// What stands for a display driver: a texture that is nothing but its references, a
// device without even those, for encoders that only hand them on, and the libraries.
#pragma once

#include <windows.h>

#include <d3d11.h>

#include <string>

#include "base/base_win/win32.h"

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

// A fake library of that name, beside the test program, wherever that was started from.
inline std::wstring FakeLibraryPath(const wchar_t* name) {
  std::wstring program(MAX_PATH, L'\0');
  program.resize(GetModuleFileNameW(nullptr, program.data(), MAX_PATH));
  return program.substr(0, program.rfind(L'\\')) + L"\\fakes\\" + name;
}

// What a fake library shares with the test, by the export that gives it.
template <typename Function>
auto& SharedWithFake(const std::wstring& library, const char* name) {
  const auto get = LibraryFunction<Function>(LoadLibraryW(library.c_str()), name);
  return *get();
}

}  // namespace orventa
