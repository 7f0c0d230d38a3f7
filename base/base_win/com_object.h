// What every COM object of this system's own has in common: it counts who holds it,
// and may be called from any thread.
#pragma once

// First: the other headers of the system lean on it.
#include <windows.h>

#include <objidl.h>
#include <wrl/client.h>

#include <atomic>
#include <type_traits>

namespace orventa {

// COM's interfaces have no virtual destructor, and nobody destroys one by them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Made by `new` with one reference, which Adopt takes.
template <class Interface>
class ComObject : public Interface {
 public:
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) final {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (id != __uuidof(IUnknown) && id != __uuidof(IAgileObject) && id != __uuidof(Interface)) {
      return E_NOINTERFACE;
    }
    *out = static_cast<Interface*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() final { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() final {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  ComObject() = default;
  virtual ~ComObject() = default;

 private:
  std::atomic<ULONG> references_{1};
};

#pragma GCC diagnostic pop

// Takes a reference over. ComPtr's own Attach adds one in these import headers, which
// nobody would give back.
template <class Interface>
void Adopt(Microsoft::WRL::ComPtr<Interface>& to, std::type_identity_t<Interface>* object) {
  *to.ReleaseAndGetAddressOf() = object;
}

}  // namespace orventa
