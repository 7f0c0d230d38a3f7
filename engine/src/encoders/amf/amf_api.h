// The library behind AMF as one object a process, and handles to its objects. The
// library may be used from any thread.
#pragma once

#include <windows.h>

#include <d3d11.h>

#include <memory>

#include "base/status.h"
#include "encoders/amf/amf_abi.h"

namespace orventa {

// A reference to an object of the library.
struct AmfRelease {
  void operator()(amf::AMFInterface* object) const { object->Release(); }
};
template <typename Object>
using AmfRef = std::unique_ptr<Object, AmfRelease>;

// Contexts end by being told so.
struct AmfEndContext {
  void operator()(amf::AMFContext* context) const {
    context->Terminate();
    context->Release();
  }
};
using AmfContextRef = std::unique_ptr<amf::AMFContext, AmfEndContext>;

class AmfApi {
 public:
  // The library of the display driver, loaded on first use. It is never unloaded.
  static const AmfApi& OfDriver();

  AmfApi(const wchar_t* library, DWORD load_flags);

  // Why there is no factory; Ok when there is one.
  const Status& failure() const { return failure_; }
  amf::AMFFactory& factory() const { return *factory_; }

  // `device` must outlive the context.
  Status MakeContext(ID3D11Device& device, AmfContextRef& context) const;

 private:
  Status Load(const wchar_t* library, DWORD load_flags);

  amf::AMFFactory* factory_ = nullptr;
  Status failure_;
};

// `call` names what was called in the message.
Status AmfStatus(amf::AMF_RESULT result, const char* call);

}  // namespace orventa
