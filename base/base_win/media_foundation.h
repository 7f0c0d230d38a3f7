// Media Foundation as far as the encoders of sound and of pictures use it. Its library
// is looked up when it is first asked for, so that a Windows without media parts (the N
// editions) still starts the program and gets an answer. Any thread.
#pragma once

// First: the other headers of the system lean on it.
#include <windows.h>

#include <mfapi.h>
#include <mfidl.h>
#include <mftransform.h>
#include <wrl/client.h>

#include <cstdint>
#include <span>

#include "base/status.h"

namespace orventa {

inline constexpr uint64_t kNsPerMfTick = 100;  // of its times

// What is called of mfplat.dll. Once loaded, it stays: it has threads of its own.
struct MediaFoundation {
  // From Windows 10 1703 on.
  using Enumerate2 = HRESULT(STDAPICALLTYPE*)(GUID category, UINT32 flags,
                                              const MFT_REGISTER_TYPE_INFO* input,
                                              const MFT_REGISTER_TYPE_INFO* output,
                                              IMFAttributes* filter, IMFActivate*** list,
                                              UINT32* count);

  decltype(&MFStartup) startup = nullptr;
  decltype(&MFShutdown) shutdown = nullptr;
  decltype(&MFTEnumEx) enumerate = nullptr;
  Enumerate2 enumerate2 = nullptr;  // null on an older Windows
  decltype(&MFCreateAttributes) create_attributes = nullptr;
  decltype(&MFCreateMediaType) create_media_type = nullptr;
  decltype(&MFCreateMemoryBuffer) create_memory_buffer = nullptr;
  decltype(&MFCreateSample) create_sample = nullptr;
  decltype(&MFCreateDXGIDeviceManager) create_device_manager = nullptr;
  decltype(&MFCreateDXGISurfaceBuffer) create_surface_buffer = nullptr;
  bool complete = false;

  static const MediaFoundation& OfSystem();
};

// Media Foundation and COM for as long as one lives, on whichever thread. Outlives all
// that was made with it.
class MfSession {
 public:
  // `functions` must outlive it.
  explicit MfSession(const MediaFoundation& functions) : mf_(functions) {}
  ~MfSession();
  MfSession(const MfSession&) = delete;
  MfSession& operator=(const MfSession&) = delete;

  // Once. BackendUnavailable where Windows has no media parts.
  Status Start();

 private:
  const MediaFoundation& mf_;
  CO_MTA_USAGE_COOKIE apartment_ = nullptr;
  bool started_ = false;
};

// What looking for transforms gave.
struct MfActivations {
  IMFActivate** list = nullptr;
  UINT32 count = 0;

  MfActivations() = default;
  ~MfActivations();
  MfActivations(const MfActivations&) = delete;
  MfActivations& operator=(const MfActivations&) = delete;
};

// A number of a media type, of 32 bits unless it is a wide one.
struct MfNumber {
  const GUID& key;
  UINT64 value;
  enum Width { Usual, Wide } width = Usual;
};

// OutOfMemory when it cannot be made.
Status MakeMfType(const MediaFoundation& mf, const GUID& major, const GUID& subtype,
                  std::span<const MfNumber> numbers, Microsoft::WRL::ComPtr<IMFMediaType>& type);

// A sample with one buffer in memory.
Status MakeMfSample(const MediaFoundation& mf, DWORD bytes,
                    Microsoft::WRL::ComPtr<IMFSample>& sample,
                    Microsoft::WRL::ComPtr<IMFMediaBuffer>& buffer);

// How samples come out of a transform: those that it makes itself, or one of ours that
// is filled again and again.
class MfOutput {
 public:
  // Once the transform has its types. `default_bytes`: the size of our own sample where
  // the transform does not tell.
  Status Prepare(const MediaFoundation& mf, IMFTransform& transform, DWORD stream,
                 DWORD default_bytes);
  // What ProcessOutput answers; never S_OK without a sample, which is valid until the
  // next call.
  HRESULT Take(IMFTransform& transform, Microsoft::WRL::ComPtr<IMFSample>& sample);

 private:
  DWORD stream_ = 0;
  Microsoft::WRL::ComPtr<IMFSample> own_;
  Microsoft::WRL::ComPtr<IMFMediaBuffer> own_buffer_;
};

// The bytes of a sample, readable for as long as one lives.
class MfBytes {
 public:
  MfBytes() = default;
  ~MfBytes();
  MfBytes(const MfBytes&) = delete;
  MfBytes& operator=(const MfBytes&) = delete;

  // Once.
  HRESULT Lock(IMFSample& sample);
  std::span<const uint8_t> bytes() const { return {data_, size_}; }

 private:
  Microsoft::WRL::ComPtr<IMFMediaBuffer> buffer_;
  BYTE* data_ = nullptr;
  DWORD size_ = 0;
};

}  // namespace orventa
