#include "encoders/amf/amf_api.h"

#include <algorithm>

#include "base/base_win/win32.h"
#include "base/mutex.h"
#include "base/text.h"
#include "encoders/card_rules.h"

namespace orventa {
namespace {

using namespace amf;

std::string VersionText(uint64_t version) {
  return Format("%u.%u.%u", static_cast<unsigned>(version >> 48),
                static_cast<unsigned>(version >> 32 & 0xFFFF),
                static_cast<unsigned>(version >> 16 & 0xFFFF));
}

StatusCode CodeOf(AMF_RESULT result) {
  switch (result) {
    case AMF_OK: return StatusCode::Ok;
    case AMF_NOT_IMPLEMENTED:
    case AMF_NOT_SUPPORTED:
    case AMF_NOT_FOUND:
    case AMF_INVALID_RESOLUTION:
    case AMF_CODEC_NOT_SUPPORTED:
    case AMF_SURFACE_FORMAT_NOT_SUPPORTED:
    case AMF_ENCODER_NOT_PRESENT: return StatusCode::Unsupported;
    case AMF_INVALID_ARG:
    case AMF_OUT_OF_RANGE:
    case AMF_INVALID_POINTER:
    case AMF_INVALID_FORMAT: return StatusCode::InvalidArgument;
    case AMF_NO_DEVICE:
    case AMF_DIRECTX_FAILED: return StatusCode::DeviceLost;
    case AMF_OUT_OF_MEMORY: return StatusCode::SessionLimitReached;
    default: return StatusCode::DriverError;
  }
}

}  // namespace

const AmfApi& AmfApi::OfDriver() {
  static const AmfApi api(L"amfrt64.dll", LOAD_LIBRARY_SEARCH_SYSTEM32);
  return api;
}

AmfApi::AmfApi(const wchar_t* library, DWORD load_flags) : failure_(Load(library, load_flags)) {}

Status AmfApi::Load(const wchar_t* name, DWORD load_flags) {
  const HMODULE library = LoadLibraryExW(name, nullptr, load_flags);
  if (library == nullptr) {
    return {StatusCode::BackendUnavailable, "amfrt64.dll not present (no AMD driver)"};
  }
  const auto query_version = LibraryFunction<QueryVersionFunction>(library, "AMFQueryVersion");
  const auto init = LibraryFunction<InitFunction>(library, "AMFInit");
  if (query_version == nullptr || init == nullptr) {
    return {StatusCode::BackendUnavailable, "amfrt64.dll is missing expected exports"};
  }
  uint64_t version = 0;
  if (query_version(&version) != AMF_OK) {
    return {StatusCode::DriverError, "AMFQueryVersion failed"};
  }
  if (version < kLeastVersion) {
    return {StatusCode::BackendUnavailable, "AMD driver is too old for AMF " +
                                                VersionText(kLeastVersion) + " (driver reports " +
                                                VersionText(version) + ") -- please update."};
  }
  // Whether a runtime refuses a version above its own is told nowhere.
  if (init(std::min(version, kWrittenForVersion), &factory_) != AMF_OK || factory_ == nullptr) {
    return {StatusCode::DriverError, "AMFInit failed"};
  }
  return Status::Ok();
}

Status AmfApi::MakeContext(ID3D11Device& device, AmfContextRef& context) const {
  // Runtimes have crashed when two threads did this at once.
  static Mutex one_at_a_time;
  MutexLock lock(one_at_a_time);
  AMFContext* made = nullptr;
  if (Status status = AmfStatus(factory_->CreateContext(&made), "CreateContext"); !status.ok()) {
    return status;
  }
  context.reset(made);
  return AmfStatus(context->InitDX11(&device, kDirectX11_1), "InitDX11");
}

Status AmfStatus(AMF_RESULT result, const char* call) {
  const StatusCode code = CodeOf(result);
  if (code == StatusCode::Ok) return Status::Ok();
  std::string text = Format("%s failed (AMF error %d)", call, result);
  if (code == StatusCode::SessionLimitReached) {
    text += " (" + std::string(kGpuBusy) + ")";
  }
  return {code, std::move(text)};
}

}  // namespace orventa
