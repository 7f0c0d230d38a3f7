#include "encoders/mf/mf_transform.h"

#include <mferror.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "base/log.h"
#include "encoders/bitstream.h"
#include "encoders/mf/mf_options.h"

namespace orventa {
namespace {

using Microsoft::WRL::ComPtr;

using namespace mf;

constexpr std::wstring_view kIntel = L"VEN_8086";

constexpr DWORD kDefaultPacketBytes = 4 * 1024 * 1024;

HRESULT SetValue(ICodecAPI& codec, const GUID& id, VARTYPE type, uint64_t value) {
  VARIANT variant{};
  variant.vt = type;
  switch (type) {
    case VT_BOOL: variant.boolVal = value != 0 ? VARIANT_TRUE : VARIANT_FALSE; break;
    case VT_UI8: variant.ullVal = value; break;
    default: variant.ulVal = static_cast<ULONG>(value); break;
  }
  return codec.SetValue(&id, &variant);
}

bool Knows(ICodecAPI& codec, const GUID& id) {
  return codec.IsSupported(&id) == S_OK;
}

}  // namespace

MfTransform::MfTransform(const MediaFoundation& mf, const AdapterFacts& adapter,
                         const EncoderSettings& settings)
    : mf_(mf), adapter_(adapter), settings_(settings) {}

MfTransform::~MfTransform() {
  End();
}

Status MfTransform::Open() {
  if (Status status = MakeManager(); !status.ok()) return status;
  MfActivations found;
  if (Status status = Find(found); !status.ok()) return status;
  Status failure = {StatusCode::Unsupported, "Media Foundation has no encoder on this GPU for " +
                                                 std::string(CodecWord(settings_.codec))};
  bool first = true;
  for (UINT32 i = 0; i < found.count; ++i) {
    if (!IsOfAdapter(*found.list[i])) continue;
    Status status = Use(*found.list[i]);
    if (status.ok()) return status;
    End();
    if (first) failure = std::move(status);
    first = false;
  }
  return failure;
}

Status MfTransform::MakeManager() {
  UINT token = 0;
  HRESULT result = mf_.create_device_manager(&token, &manager_);
  if (FAILED(result)) return MfStatus(result, "MFCreateDXGIDeviceManager");
  return MfStatus(manager_->ResetDevice(adapter_.device.Get(), token), "ResetDevice");
}

// Asks for those of the adapter where the system can tell them apart.
Status MfTransform::Find(MfActivations& found) const {
  const MFT_REGISTER_TYPE_INFO input = {MFMediaType_Video, MfInputSubtype(settings_.input_format)};
  const MFT_REGISTER_TYPE_INFO output = {MFMediaType_Video, MfCodecSubtype(settings_.codec)};
  constexpr UINT32 kKinds = MFT_ENUM_FLAG_HARDWARE | MFT_ENUM_FLAG_SORTANDFILTER;
  if (mf_.enumerate2 != nullptr) {
    ComPtr<IMFAttributes> filter;
    const LUID& luid = adapter_.luid;
    HRESULT result = mf_.create_attributes(&filter, 1);
    if (SUCCEEDED(result)) {
      result = filter->SetBlob(kAdapterLuid, reinterpret_cast<const UINT8*>(&luid), sizeof(luid));
    }
    if (SUCCEEDED(result)) {
      result = mf_.enumerate2(MFT_CATEGORY_VIDEO_ENCODER, kKinds, &input, &output, filter.Get(),
                              &found.list, &found.count);
    }
    if (SUCCEEDED(result)) return Status::Ok();
    LogInfo("encoder: MFTEnum2 failed (0x%08lX)", static_cast<unsigned long>(result));
  }
  return MfStatus(
      mf_.enumerate(MFT_CATEGORY_VIDEO_ENCODER, kKinds, &input, &output, &found.list, &found.count),
      "MFTEnumEx");
}

// Where the system does not tell adapters apart, the cards of other makers are still
// told apart by this.
bool MfTransform::IsOfAdapter(IMFActivate& activation) const {
  std::array<wchar_t, 32> vendor{};
  UINT32 length = 0;
  const HRESULT result =
      activation.GetString(kHardwareVendor, vendor.data(), UINT32{vendor.size()}, &length);
  return FAILED(result) || std::wstring_view(vendor.data(), length) == kIntel;
}

Status MfTransform::Use(IMFActivate& activation) {
  activation_ = &activation;
  HRESULT result = activation.ActivateObject(IID_PPV_ARGS(&transform_));
  if (FAILED(result)) return MfStatus(result, "ActivateObject");
  Status status = Unlock();
  if (!status.ok()) return status;
  result = transform_.As(&codec_);
  if (FAILED(result)) return MfStatus(result, "asking for ICodecAPI");
  status = Tell(MFT_MESSAGE_SET_D3D_MANAGER, "MFT_MESSAGE_SET_D3D_MANAGER",
                reinterpret_cast<ULONG_PTR>(manager_.Get()));
  if (status.ok()) status = SetProperties();
  if (status.ok()) status = SetTypes();
  if (!status.ok()) return status;
  return packets_.Prepare(mf_, *transform_.Get(), output_, kDefaultPacketBytes);
}

// Whoever does not know how an asynchronous transform works is kept out of it.
Status MfTransform::Unlock() {
  ComPtr<IMFAttributes> attributes;
  HRESULT result = transform_->GetAttributes(&attributes);
  if (FAILED(result)) return MfStatus(result, "GetAttributes");
  UINT32 async = FALSE;
  UINT32 takes_textures = FALSE;
  attributes->GetUINT32(MF_TRANSFORM_ASYNC, &async);
  attributes->GetUINT32(MF_SA_D3D11_AWARE, &takes_textures);
  if (async == FALSE || takes_textures == FALSE) {
    return {StatusCode::Unsupported, "the encoder of Media Foundation takes no textures"};
  }
  return MfStatus(attributes->SetUINT32(MF_TRANSFORM_ASYNC_UNLOCK, TRUE), "unlocking the encoder");
}

Status MfTransform::SetProperties() {
  if (!Knows(*codec_.Get(), CODECAPI_AVEncVideoForceKeyFrame)) {
    return {StatusCode::Unsupported, "the encoder cannot be asked for a keyframe"};
  }
  for (const MfProperty& property : MfProperties(settings_)) {
    const HRESULT result = SetValue(*codec_.Get(), property.id, property.type, property.value);
    if (SUCCEEDED(result)) continue;
    const bool needed =
        property.need == MfProperty::Need::Always ||
        (property.need == MfProperty::Need::IfKnown && Knows(*codec_.Get(), property.id));
    if (needed) return MfStatus(result, (std::string("setting ") + property.name).c_str());
    LogInfo("encoder: Quick Sync does not take %s (0x%08lX)", property.name,
            static_cast<unsigned long>(result));
  }
  return Status::Ok();
}

// An encoder wants to know first what comes out.
Status MfTransform::SetTypes() {
  // Those with streams of a fixed number do not answer: it is 0.
  if (FAILED(transform_->GetStreamIDs(1, &input_, 1, &output_))) input_ = output_ = 0;
  Status status = MakeMfPacketType(mf_, settings_, packet_type_);
  if (!status.ok()) return status;
  status = MfStatus(transform_->SetOutputType(output_, packet_type_.Get(), 0), "SetOutputType");
  if (!status.ok()) return status;
  ComPtr<IMFMediaType> picture_type;
  if (status = MakeMfPictureType(mf_, settings_, picture_type); !status.ok()) return status;
  return MfStatus(transform_->SetInputType(input_, picture_type.Get(), 0), "SetInputType");
}

void MfTransform::ReadLimits(uint32_t& width, uint32_t& height) {
  static constexpr std::pair<uint32_t, uint32_t> kSizes[] = {
      {8192, 8192}, {8192, 4320}, {7680, 4320}, {4096, 4096},
      {4096, 2304}, {4096, 2160}, {3840, 2160}, {1920, 1088}};
  width = height = 0;
  for (const auto& [wide, high] : kSizes) {
    ComPtr<IMFMediaType> type;
    EncoderSettings larger = settings_;
    larger.width = wide;
    larger.height = high;
    if (!MakeMfPacketType(mf_, larger, type).ok() ||
        FAILED(transform_->SetOutputType(output_, type.Get(), MFT_SET_TYPE_TEST_ONLY))) {
      continue;
    }
    width = wide;
    height = high;
    return;
  }
}

Status MfTransform::Begin() {
  ComPtr<IMFMediaEventGenerator> generator;
  const HRESULT result = transform_.As(&generator);
  if (FAILED(result)) return MfStatus(result, "asking for events");
  Status status;
  events_ = MfEvents::Start(generator, status);
  if (status.ok()) {
    status = Tell(MFT_MESSAGE_NOTIFY_BEGIN_STREAMING, "MFT_MESSAGE_NOTIFY_BEGIN_STREAMING");
  }
  if (status.ok()) {
    status = Tell(MFT_MESSAGE_NOTIFY_START_OF_STREAM, "MFT_MESSAGE_NOTIFY_START_OF_STREAM");
  }
  return status;
}

std::vector<uint8_t> MfTransform::Header() const {
  ComPtr<IMFMediaType> type;
  UINT32 size = 0;
  if (FAILED(transform_->GetOutputCurrentType(output_, &type)) ||
      FAILED(type->GetBlobSize(MF_MT_MPEG_SEQUENCE_HEADER, &size))) {
    return {};
  }
  std::vector<uint8_t> bytes(size);
  if (FAILED(type->GetBlob(MF_MT_MPEG_SEQUENCE_HEADER, bytes.data(), size, &size))) return {};
  return SequenceHeader(settings_.codec, bytes);
}

Status MfTransform::Put(ID3D11Texture2D& texture, uint32_t sub_resource, uint64_t pts,
                        bool keyframe) {
  ComPtr<IMFMediaBuffer> buffer;
  HRESULT result =
      mf_.create_surface_buffer(__uuidof(ID3D11Texture2D), &texture, sub_resource, FALSE, &buffer);
  if (FAILED(result)) return MfStatus(result, "MFCreateDXGISurfaceBuffer");
  // Such a buffer begins as an empty one, which some transforms take at its word.
  ComPtr<IMF2DBuffer> flat;
  DWORD bytes = 0;
  result = buffer.As(&flat);
  if (SUCCEEDED(result)) result = flat->GetContiguousLength(&bytes);
  if (SUCCEEDED(result)) result = buffer->SetCurrentLength(bytes);
  ComPtr<IMFSample> sample;
  if (SUCCEEDED(result)) result = mf_.create_sample(&sample);
  if (SUCCEEDED(result)) result = sample->AddBuffer(buffer.Get());
  if (SUCCEEDED(result)) {
    result = sample->SetSampleTime(static_cast<LONGLONG>(pts / kNsPerMfTick));
  }
  if (SUCCEEDED(result)) {
    result =
        sample->SetSampleDuration(static_cast<LONGLONG>(MfPictureNs(settings_) / kNsPerMfTick));
  }
  if (FAILED(result)) return MfStatus(result, "wrapping the texture");
  if (keyframe) {
    result = SetValue(*codec_.Get(), CODECAPI_AVEncVideoForceKeyFrame, VT_UI4, 1);
    if (FAILED(result)) return MfStatus(result, "forcing a keyframe");
  }
  return MfStatus(transform_->ProcessInput(input_, sample.Get(), 0), "ProcessInput");
}

Status MfTransform::Take(ComPtr<IMFSample>& sample) {
  const HRESULT result = packets_.Take(*transform_.Get(), sample);
  if (SUCCEEDED(result)) return Status::Ok();
  sample.Reset();
  return result == MF_E_TRANSFORM_STREAM_CHANGE ? TakeNewType() : MfStatus(result, "ProcessOutput");
}

// The transform has thought of something better and goes on once that is agreed to.
Status MfTransform::TakeNewType() {
  ComPtr<IMFMediaType> type;
  if (FAILED(transform_->GetOutputAvailableType(output_, 0, &type))) type = packet_type_;
  Status status = MfStatus(transform_->SetOutputType(output_, type.Get(), 0), "SetOutputType");
  if (!status.ok()) return status;
  return packets_.Prepare(mf_, *transform_.Get(), output_, kDefaultPacketBytes);
}

Status MfTransform::Drain() {
  Status status = Tell(MFT_MESSAGE_NOTIFY_END_OF_STREAM, "MFT_MESSAGE_NOTIFY_END_OF_STREAM");
  if (!status.ok()) return status;
  return Tell(MFT_MESSAGE_COMMAND_DRAIN, "MFT_MESSAGE_COMMAND_DRAIN");
}

Status MfTransform::Tell(MFT_MESSAGE_TYPE message, const char* call, ULONG_PTR parameter) {
  return MfStatus(transform_->ProcessMessage(message, parameter), call);
}

// What a transform answers to its end changes nothing.
void MfTransform::End() {
  if (events_) {
    events_->Close();
    transform_->ProcessMessage(MFT_MESSAGE_COMMAND_FLUSH, 0);
    transform_->ProcessMessage(MFT_MESSAGE_NOTIFY_END_STREAMING, 0);
    events_.Reset();
  }
  if (transform_) {
    transform_->ProcessMessage(MFT_MESSAGE_SET_D3D_MANAGER, 0);
    // Ends the references that it and its queue of events hold on each other.
    ComPtr<IMFShutdown> shutdown;
    if (SUCCEEDED(transform_.As(&shutdown))) shutdown->Shutdown();
  }
  codec_.Reset();
  transform_.Reset();
  if (activation_) activation_->ShutdownObject();
  activation_.Reset();
}

}  // namespace orventa
