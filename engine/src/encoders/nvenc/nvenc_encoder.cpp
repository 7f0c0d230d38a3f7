#include "encoders/nvenc/nvenc_encoder.h"

#include <algorithm>
#include <array>
#include <utility>

#include "encoders/bitstream.h"
#include "encoders/encoders_win/frame_texture.h"
#include "encoders/nvenc/nvenc_config.h"

namespace orventa {
namespace {

using namespace nvenc;
using List = NV_ENCODE_API_FUNCTION_LIST;

constexpr uint32_t kHeaderBytes = 1024;

// Whether nobody but the one who asks holds a reference.
bool IsOrphan(IUnknown& object) {
  object.AddRef();
  return object.Release() == 1;
}

}  // namespace

NvencEncoder::NvencEncoder(const NvencApi& api, const AdapterFacts& adapter,
                           EncoderSettings settings)
    : adapter_(adapter),
      settings_(std::move(settings)),
      session_(api),
      mastering_(NvencMasteringDisplay(settings_)),
      light_level_{settings_.mastering.max_cll, settings_.mastering.max_fall} {}

NvencEncoder::~NvencEncoder() {
  if (!session_) return;
  for (const auto& [texture, resource] : resources_) {
    if (resource.uses == 0) continue;
    session_.Tidy("nvEncUnmapInputResource", &List::nvEncUnmapInputResource, resource.mapped);
  }
  for (const Slot& slot : slots_) {
    session_.Tidy("nvEncDestroyBitstreamBuffer", &List::nvEncDestroyBitstreamBuffer, slot.buffer);
  }
  for (const auto& [texture, resource] : resources_) Unregister(resource);
}

Status NvencEncoder::Open() {
  Status status = session_.Open(*adapter_.device.Get(), "nvEncOpenEncodeSessionEx");
  if (status.ok()) status = CheckCodec();
  if (status.ok()) status = Initialise();
  if (status.ok()) status = MakeBuffers();
  return status;
}

// What a driver answers when it is asked for the presets of a codec that it does not
// have differs; the list of its codecs does not.
Status NvencEncoder::CheckCodec() const {
  std::vector<Codec> codecs;
  if (Status status = session_.ListCodecs(codecs); !status.ok()) return status;
  if (std::find(codecs.begin(), codecs.end(), settings_.codec) != codecs.end()) {
    return Status::Ok();
  }
  return {StatusCode::Unsupported,
          "this GPU does not encode " + std::string(CodecWord(settings_.codec))};
}

Status NvencEncoder::Initialise() {
  NV_ENC_PRESET_CONFIG preset{};
  Status status = session_.Try("nvEncGetEncodePresetConfigEx", &List::nvEncGetEncodePresetConfigEx,
                               NvencCodecGuid(settings_.codec), NvencPresetGuid(settings_),
                               NvencTuning(settings_), &preset);
  if (!status.ok()) return status;
  NV_ENC_CONFIG& config = preset.presetCfg;
  FillNvencConfig(settings_, config);
  NV_ENC_INITIALIZE_PARAMS params = NvencInitParams(settings_, adapter_.driver_version, config);
  return session_.Try("nvEncInitializeEncoder", &List::nvEncInitializeEncoder, &params);
}

Status NvencEncoder::MakeBuffers() {
  const size_t count = size_t{settings_.b_frames} + 2;
  slots_.reserve(count);
  while (slots_.size() < count) {
    NV_ENC_CREATE_BITSTREAM_BUFFER params{};
    Status status =
        session_.Try("nvEncCreateBitstreamBuffer", &List::nvEncCreateBitstreamBuffer, &params);
    if (!status.ok()) return status;
    slots_.push_back({params.bitstreamBuffer, nullptr, nullptr});
  }
  return Status::Ok();
}

Status NvencEncoder::Submit(const EncoderFrame& frame) {
  const D3d11Picture* picture = nullptr;
  if (Status status = Check(frame, picture); !status.ok()) return status;
  Resource* resource = nullptr;
  if (Status status = Hold(*picture, resource); !status.ok()) return status;

  Slot& slot = SlotOf(submitted_);
  const NVENCSTATUS result = Encode(frame, *resource, slot.buffer);
  if (result != NV_ENC_SUCCESS && result != NV_ENC_ERR_NEED_MORE_INPUT) {
    Status status = session_.ToStatus(result, "nvEncEncodePicture");
    LetGo(*resource);
    return status;
  }
  slot.picture = frame.picture;
  slot.resource = resource;
  ++submitted_;
  if (result == NV_ENC_SUCCESS) ready_ = submitted_;
  return Status::Ok();
}

Status NvencEncoder::Check(const EncoderFrame& frame, const D3d11Picture*& picture) const {
  if (!session_) return {StatusCode::DriverError, "encoder not initialised"};
  if (flushing_) return {StatusCode::InvalidArgument, "Submit after Flush"};
  if (Status status = FrameTexture(frame, settings_, picture); !status.ok()) return status;
  if (submitted_ - collected_ == slots_.size()) {
    return {StatusCode::OutOfMemory, "bitstream pool exhausted -- caller must Pull()"};
  }
  return Status::Ok();
}

Status NvencEncoder::Hold(const D3d11Picture& picture, Resource*& held) {
  const Key key = {picture.texture(), picture.sub_resource()};
  auto found = resources_.find(key);
  if (found == resources_.end()) {
    ForgetOrphans();
    Resource resource;
    if (Status status = Register(picture, resource); !status.ok()) return status;
    found = resources_.emplace(key, std::move(resource)).first;
  }
  held = &found->second;
  if (held->uses == 0) {
    if (Status status = Map(*held); !status.ok()) {
      Unregister(*held);
      resources_.erase(found);
      return status;
    }
  }
  ++held->uses;
  return Status::Ok();
}

void NvencEncoder::LetGo(Resource& resource) {
  if (--resource.uses > 0) return;
  session_.Tidy("nvEncUnmapInputResource", &List::nvEncUnmapInputResource, resource.mapped);
}

Status NvencEncoder::Register(const D3d11Picture& picture, Resource& resource) const {
  NV_ENC_REGISTER_RESOURCE params{};
  params.resourceType = NV_ENC_INPUT_RESOURCE_TYPE_DIRECTX;
  params.width = picture.width();
  params.height = picture.height();
  params.subResourceIndex = picture.sub_resource();
  params.resourceToRegister = picture.texture();
  params.bufferFormat = NvencBufferFormat(settings_);
  params.bufferUsage = NV_ENC_INPUT_IMAGE;
  Status status = session_.Try("nvEncRegisterResource", &List::nvEncRegisterResource, &params);
  resource.texture = picture.texture();
  resource.registered = params.registeredResource;
  return status;
}

Status NvencEncoder::Map(Resource& resource) const {
  NV_ENC_MAP_INPUT_RESOURCE params{};
  params.registeredResource = resource.registered;
  Status status = session_.Try("nvEncMapInputResource", &List::nvEncMapInputResource, &params);
  resource.mapped = params.mappedResource;
  resource.mapped_format = params.mappedBufferFmt;
  return status;
}

void NvencEncoder::Unregister(const Resource& resource) const {
  session_.Tidy("nvEncUnregisterResource", &List::nvEncUnregisterResource, resource.registered);
}

// Textures of a pool that is gone would otherwise stay in the card's memory.
void NvencEncoder::ForgetOrphans() {
  std::erase_if(resources_, [this](const auto& row) {
    const Resource& resource = row.second;
    if (resource.uses > 0 || !IsOrphan(*resource.texture.Get())) return false;
    Unregister(resource);
    return true;
  });
}

NVENCSTATUS NvencEncoder::Encode(const EncoderFrame& frame, const Resource& resource,
                                 NV_ENC_OUTPUT_PTR buffer) {
  NV_ENC_PIC_PARAMS params{};
  params.inputWidth = params.inputPitch = settings_.width;
  params.inputHeight = settings_.height;
  params.inputTimeStamp = frame.pts;
  params.encodePicFlags = frame.force_keyframe ? NV_ENC_PIC_FLAG_FORCEIDR : 0;
  params.inputBuffer = resource.mapped;
  params.outputBitstream = buffer;
  params.bufferFmt = resource.mapped_format;
  params.pictureStruct = NV_ENC_PIC_STRUCT_FRAME;
  if (settings_.mastering != MasteringMetadata{}) {
    if (settings_.codec == Codec::Hevc) {
      params.codecPicParams.hevcPicParams.pMaxCll = &light_level_;
      params.codecPicParams.hevcPicParams.pMasteringDisplay = &mastering_;
    } else if (settings_.codec == Codec::Av1) {
      params.codecPicParams.av1PicParams.pMaxCll = &light_level_;
      params.codecPicParams.av1PicParams.pMasteringDisplay = &mastering_;
    }
  }
  return session_.Call(&List::nvEncEncodePicture, &params);
}

CollectResult NvencEncoder::Collect(EncodedPacket& packet, Status& status) {
  status = Status::Ok();
  if (collected_ == ready_) {
    return flushing_ && ready_ == submitted_ ? CollectResult::Finished : CollectResult::NothingYet;
  }
  Slot& slot = SlotOf(collected_);
  ++collected_;
  status = TakePacket(slot.buffer, packet);
  LetGo(*slot.resource);
  slot.picture.reset();
  return status.ok() ? CollectResult::Packet : CollectResult::NothingYet;
}

Status NvencEncoder::TakePacket(NV_ENC_OUTPUT_PTR buffer, EncodedPacket& packet) const {
  NV_ENC_LOCK_BITSTREAM params{};
  params.outputBitstream = buffer;
  Status status = session_.Try("nvEncLockBitstream", &List::nvEncLockBitstream, &params);
  if (!status.ok()) return status;
  packet.data = PacketPayload(
      settings_.codec,
      {static_cast<const uint8_t*>(params.bitstreamBufferPtr), params.bitstreamSizeInBytes});
  packet.pts = packet.dts = static_cast<int64_t>(params.outputTimeStamp);
  packet.keyframe =
      params.pictureType == NV_ENC_PIC_TYPE_I || params.pictureType == NV_ENC_PIC_TYPE_IDR;
  session_.Tidy("nvEncUnlockBitstream", &List::nvEncUnlockBitstream, buffer);
  return Status::Ok();
}

Status NvencEncoder::Drain() {
  if (!session_) return {StatusCode::DriverError, "encoder not initialised"};
  if (flushing_) return Status::Ok();
  flushing_ = true;
  NV_ENC_PIC_PARAMS params{};
  params.encodePicFlags = NV_ENC_PIC_FLAG_EOS;
  Status status = session_.Try("nvEncEncodePicture(EOS)", &List::nvEncEncodePicture, &params);
  if (status.ok()) ready_ = submitted_;
  return status;
}

Status NvencEncoder::Header(std::vector<uint8_t>& bytes) {
  if (!session_) return {StatusCode::DriverError, "encoder not initialised"};
  std::array<uint8_t, kHeaderBytes> buffer{};
  uint32_t size = 0;
  NV_ENC_SEQUENCE_PARAM_PAYLOAD params{};
  params.inBufferSize = kHeaderBytes;
  params.spsppsBuffer = buffer.data();
  params.outSPSPPSPayloadSize = &size;
  Status status = session_.Try("nvEncGetSequenceParams", &List::nvEncGetSequenceParams, &params);
  if (!status.ok()) return status;
  bytes = SequenceHeader(settings_.codec, std::span(buffer).first(std::min(size, kHeaderBytes)));
  if (!bytes.empty()) return Status::Ok();
  return {StatusCode::DriverError, "nvEncGetSequenceParams gave no header"};
}

}  // namespace orventa
