#include "base/base_win/media_foundation.h"

#include "base/base_win/com_object.h"
#include "base/base_win/win32.h"

namespace orventa {
namespace {

using Microsoft::WRL::ComPtr;

template <class Function>
bool Bind(const char* name, Function& function) {
  function = SystemFunction<Function>(L"mfplat.dll", name);
  return function != nullptr;
}

MediaFoundation Load() {
  MediaFoundation mf;
  Bind("MFTEnum2", mf.enumerate2);
  mf.complete = Bind("MFStartup", mf.startup) && Bind("MFShutdown", mf.shutdown) &&
                Bind("MFTEnumEx", mf.enumerate) &&
                Bind("MFCreateAttributes", mf.create_attributes) &&
                Bind("MFCreateMediaType", mf.create_media_type) &&
                Bind("MFCreateMemoryBuffer", mf.create_memory_buffer) &&
                Bind("MFCreateSample", mf.create_sample) &&
                Bind("MFCreateDXGIDeviceManager", mf.create_device_manager) &&
                Bind("MFCreateDXGISurfaceBuffer", mf.create_surface_buffer);
  return mf;
}

}  // namespace

const MediaFoundation& MediaFoundation::OfSystem() {
  static const MediaFoundation functions = Load();
  return functions;
}

MfSession::~MfSession() {
  if (started_) mf_.shutdown();
  if (apartment_ != nullptr) CoDecrementMTAUsage(apartment_);
}

Status MfSession::Start() {
  if (mf_.complete && SUCCEEDED(CoIncrementMTAUsage(&apartment_))) {
    started_ = SUCCEEDED(mf_.startup(MF_VERSION, MFSTARTUP_LITE));
  }
  return started_ ? Status::Ok() : Status(StatusCode::BackendUnavailable, "MFStartup failed");
}

MfActivations::~MfActivations() {
  for (UINT32 i = 0; i < count; ++i) list[i]->Release();
  CoTaskMemFree(list);
}

Status MakeMfType(const MediaFoundation& mf, const GUID& major, const GUID& subtype,
                  std::span<const MfNumber> numbers, ComPtr<IMFMediaType>& type) {
  HRESULT result = mf.create_media_type(&type);
  if (SUCCEEDED(result)) result = type->SetGUID(MF_MT_MAJOR_TYPE, major);
  if (SUCCEEDED(result)) result = type->SetGUID(MF_MT_SUBTYPE, subtype);
  for (const MfNumber& number : numbers) {
    if (FAILED(result)) break;
    result = number.width == MfNumber::Wide
                 ? type->SetUINT64(number.key, number.value)
                 : type->SetUINT32(number.key, static_cast<UINT32>(number.value));
  }
  if (SUCCEEDED(result)) return Status::Ok();
  return {StatusCode::OutOfMemory, "MFCreateMediaType failed"};
}

Status MakeMfSample(const MediaFoundation& mf, DWORD bytes, ComPtr<IMFSample>& sample,
                    ComPtr<IMFMediaBuffer>& buffer) {
  if (FAILED(mf.create_memory_buffer(bytes, &buffer))) {
    return {StatusCode::OutOfMemory, "MFCreateMemoryBuffer failed"};
  }
  if (FAILED(mf.create_sample(&sample)) || FAILED(sample->AddBuffer(buffer.Get()))) {
    return {StatusCode::OutOfMemory, "MFCreateSample failed"};
  }
  return Status::Ok();
}

Status MfOutput::Prepare(const MediaFoundation& mf, IMFTransform& transform, DWORD stream,
                         DWORD default_bytes) {
  constexpr DWORD kGivesSamples =
      MFT_OUTPUT_STREAM_PROVIDES_SAMPLES | MFT_OUTPUT_STREAM_CAN_PROVIDE_SAMPLES;
  stream_ = stream;
  own_.Reset();
  own_buffer_.Reset();
  MFT_OUTPUT_STREAM_INFO info{};
  if (FAILED(transform.GetOutputStreamInfo(stream, &info))) info = {};
  if ((info.dwFlags & kGivesSamples) != 0) return Status::Ok();
  return MakeMfSample(mf, info.cbSize != 0 ? info.cbSize : default_bytes, own_, own_buffer_);
}

HRESULT MfOutput::Take(IMFTransform& transform, ComPtr<IMFSample>& sample) {
  sample = own_;
  if (own_buffer_) own_buffer_->SetCurrentLength(0);
  MFT_OUTPUT_DATA_BUFFER data{};
  data.dwStreamID = stream_;
  data.pSample = own_.Get();
  DWORD flags = 0;
  const HRESULT result = transform.ProcessOutput(0, 1, &data, &flags);
  ComPtr<IMFCollection> events;
  Adopt(events, data.pEvents);
  if (!own_) Adopt(sample, data.pSample);
  if (FAILED(result)) return result;
  // Success without a sample would go on forever.
  return sample ? S_OK : E_UNEXPECTED;
}

MfBytes::~MfBytes() {
  if (data_ != nullptr) buffer_->Unlock();
}

HRESULT MfBytes::Lock(IMFSample& sample) {
  const HRESULT result = sample.ConvertToContiguousBuffer(&buffer_);
  return FAILED(result) ? result : buffer_->Lock(&data_, nullptr, &size_);
}

}  // namespace orventa
