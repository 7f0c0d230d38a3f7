// The library behind NVENC as one object a process, and an encode session that
// closes itself. The library may be used from any thread, a session by one at a
// time.
#pragma once

#include <windows.h>

#include <d3d11.h>

#include <utility>
#include <vector>

#include "base/status.h"
#include "encoders/encoder.h"
#include "encoders/nvenc/nvenc_abi.h"

namespace orventa {

class NvencApi {
 public:
  // The library of the display driver, loaded on first use. It is never unloaded.
  static const NvencApi& OfDriver();

  NvencApi(const wchar_t* library, DWORD load_flags);

  // Whether `calls` may be made; else `failure` says why not.
  bool loaded() const { return failure_.ok(); }
  const Status& failure() const { return failure_; }
  const nvenc::NV_ENCODE_API_FUNCTION_LIST& calls() const { return calls_; }

 private:
  Status Load(const wchar_t* library, DWORD load_flags);

  nvenc::NV_ENCODE_API_FUNCTION_LIST calls_{};
  Status failure_;
};

const GUID& NvencCodecGuid(Codec codec);

class NvencSession {
 public:
  explicit NvencSession(const NvencApi& api) : api_(&api) {}
  ~NvencSession() { Close(); }
  NvencSession(const NvencSession&) = delete;
  NvencSession& operator=(const NvencSession&) = delete;

  // `call` is the name under which a failure is told.
  Status Open(ID3D11Device& device, const char* call);
  explicit operator bool() const { return handle_ != nullptr; }

  // Makes a call of the library in this session.
  template <typename Function, typename... Arguments>
  nvenc::NVENCSTATUS Call(Function nvenc::NV_ENCODE_API_FUNCTION_LIST::*function,
                          Arguments... arguments) const {
    return (api_->calls().*function)(handle_, arguments...);
  }
  // The same as a Status; `name` is the call's for its message.
  template <typename Function, typename... Arguments>
  Status Try(const char* name, Function nvenc::NV_ENCODE_API_FUNCTION_LIST::*function,
             Arguments... arguments) const {
    return ToStatus(Call(function, arguments...), name);
  }
  // The same where nothing can be done about a failure but tell it in the log.
  template <typename Function, typename... Arguments>
  void Tidy(const char* name, Function nvenc::NV_ENCODE_API_FUNCTION_LIST::*function,
            Arguments... arguments) const {
    Note(Try(name, function, arguments...));
  }
  Status ToStatus(nvenc::NVENCSTATUS result, const char* name) const;

  // The codecs that the adapter encodes.
  Status ListCodecs(std::vector<Codec>& codecs) const;

 private:
  static void Note(const Status& status);
  void Close();

  const NvencApi* api_;
  void* handle_ = nullptr;
};

}  // namespace orventa
