#include "encoders/nvenc/nvenc_api.h"

#include <algorithm>
#include <array>
#include <string>

#include "base/base_win/win32.h"
#include "base/log.h"
#include "base/text.h"
#include "encoders/card_rules.h"

namespace orventa {
namespace {

using namespace nvenc;

StatusCode CodeOf(NVENCSTATUS result) {
  switch (result) {
    case NV_ENC_SUCCESS: return StatusCode::Ok;
    case NV_ENC_ERR_UNSUPPORTED_DEVICE:
    case NV_ENC_ERR_UNSUPPORTED_PARAM:
    case NV_ENC_ERR_INVALID_VERSION: return StatusCode::Unsupported;
    case NV_ENC_ERR_DEVICE_NOT_EXIST: return StatusCode::DeviceLost;
    case NV_ENC_ERR_INVALID_PTR:
    case NV_ENC_ERR_INVALID_PARAM: return StatusCode::InvalidArgument;
    case NV_ENC_ERR_OUT_OF_MEMORY:
    case NV_ENC_ERR_ENCODER_BUSY: return StatusCode::SessionLimitReached;
    default: return StatusCode::DriverError;
  }
}

constexpr std::array<const GUID*, kCodecCount> kCodecGuids = {
    &NV_ENC_CODEC_H264_GUID, &NV_ENC_CODEC_HEVC_GUID, &NV_ENC_CODEC_AV1_GUID};

}  // namespace

const NvencApi& NvencApi::OfDriver() {
  static const NvencApi api(L"nvEncodeAPI64.dll", LOAD_LIBRARY_SEARCH_SYSTEM32);
  return api;
}

NvencApi::NvencApi(const wchar_t* library, DWORD load_flags)
    : failure_(Load(library, load_flags)) {}

Status NvencApi::Load(const wchar_t* name, DWORD load_flags) {
  const HMODULE library = LoadLibraryExW(name, nullptr, load_flags);
  if (library == nullptr) {
    return {StatusCode::BackendUnavailable, "nvEncodeAPI64.dll not present (no NVIDIA driver)"};
  }
  const auto get_version =
      LibraryFunction<GetMaxSupportedVersionFunction>(library, "NvEncodeAPIGetMaxSupportedVersion");
  const auto create_instance =
      LibraryFunction<CreateInstanceFunction>(library, "NvEncodeAPICreateInstance");
  if (get_version == nullptr || create_instance == nullptr) {
    return {StatusCode::BackendUnavailable, "nvEncodeAPI64.dll is missing expected exports"};
  }
  uint32_t version = 0;
  if (get_version(&version) != NV_ENC_SUCCESS) {
    return {StatusCode::DriverError, "NvEncodeAPIGetMaxSupportedVersion failed"};
  }
  if (version < kLeastDriverVersion) {
    return {StatusCode::BackendUnavailable,
            Format("NVIDIA driver is too old for NVENC API %u.%u (driver reports %u.%u) -- "
                   "please update.",
                   kLeastDriverVersion / 16, kLeastDriverVersion % 16, version / 16, version % 16)};
  }
  if (create_instance(&calls_) != NV_ENC_SUCCESS) {
    return {StatusCode::DriverError, "NvEncodeAPICreateInstance failed"};
  }
  return Status::Ok();
}

const GUID& NvencCodecGuid(Codec codec) {
  return *kCodecGuids[std::min<size_t>(static_cast<size_t>(codec), kCodecCount - 1)];
}

Status NvencSession::Open(ID3D11Device& device, const char* call) {
  NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS params{};
  params.deviceType = NV_ENC_DEVICE_TYPE_DIRECTX;
  params.device = &device;
  params.apiVersion = NVENCAPI_VERSION;
  Status status = ToStatus(api_->calls().nvEncOpenEncodeSessionEx(&params, &handle_), call);
  // Also a call that failed may have made a session, which is to be closed.
  if (!status.ok()) Close();
  return status;
}

void NvencSession::Note(const Status& status) {
  if (!status.ok()) LogWarning("encoder: %s", status.message().c_str());
}

void NvencSession::Close() {
  if (handle_ != nullptr) api_->calls().nvEncDestroyEncoder(handle_);
  handle_ = nullptr;
}

Status NvencSession::ToStatus(NVENCSTATUS result, const char* name) const {
  const StatusCode code = CodeOf(result);
  if (code == StatusCode::Ok) return Status::Ok();
  std::string text = name;
  const char* told = handle_ != nullptr ? api_->calls().nvEncGetLastErrorString(handle_) : nullptr;
  if (told != nullptr && *told != '\0') text += std::string(": ") + told;
  if (result == NV_ENC_ERR_OUT_OF_MEMORY) {
    text += " (" + std::string(kGpuBusy) + ")";
  }
  return {code, std::move(text)};
}

Status NvencSession::ListCodecs(std::vector<Codec>& codecs) const {
  using List = NV_ENCODE_API_FUNCTION_LIST;
  uint32_t count = 0;
  Status status = Try("nvEncGetEncodeGUIDCount", &List::nvEncGetEncodeGUIDCount, &count);
  if (!status.ok() || count == 0) return status;
  std::vector<GUID> guids(count);
  status = Try("nvEncGetEncodeGUIDs", &List::nvEncGetEncodeGUIDs, guids.data(), count, &count);
  if (!status.ok()) return status;
  guids.resize(std::min<size_t>(guids.size(), count));
  for (uint32_t i = 0; i < kCodecCount; ++i) {
    const auto codec = static_cast<Codec>(i);
    if (std::find(guids.begin(), guids.end(), NvencCodecGuid(codec)) != guids.end()) {
      codecs.push_back(codec);
    }
  }
  return Status::Ok();
}

}  // namespace orventa
