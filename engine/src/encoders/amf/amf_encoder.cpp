#include "encoders/amf/amf_encoder.h"

#include <cstring>
#include <utility>

#include "base/base_win/win32.h"
#include "base/log.h"
#include "encoders/amf/amf_options.h"
#include "encoders/bitstream.h"
#include "encoders/card_rules.h"
#include "encoders/encoders_win/frame_texture.h"

namespace orventa {
namespace {

using namespace amf;

constexpr uint64_t kNsPerTick = 100;
// A queue that stays full for longer than this is stuck.
constexpr uint32_t kFullQueueMs = 2000;

// The object as a buffer; none when it is not one.
AmfRef<AMFBuffer> AsBuffer(AMFInterface& object) {
  void* buffer = nullptr;
  if (object.QueryInterface(kBufferId, &buffer) != AMF_OK) return nullptr;
  return AmfRef<AMFBuffer>(static_cast<AMFBuffer*>(buffer));
}

std::span<const uint8_t> BytesOf(AMFBuffer& buffer) {
  return {static_cast<const uint8_t*>(buffer.GetNative()), buffer.GetSize()};
}

}  // namespace

AmfEncoder::AmfEncoder(const AmfApi& api, const AdapterFacts& adapter, EncoderSettings settings)
    : api_(api),
      adapter_(adapter),
      settings_(std::move(settings)),
      pictures_(KeyframeDistance(settings_)) {}

AmfEncoder::~AmfEncoder() {
  // What never got through Init would answer with an error.
  if (initialised_) component_->Terminate();
}

Status AmfEncoder::Open() {
  Status status = api_.MakeContext(*adapter_.device.Get(), context_);
  if (!status.ok()) return status;
  AMFComponent* component = nullptr;
  const wchar_t* name = AmfNames(settings_.codec).component;
  status = AmfStatus(api_.factory().CreateComponent(context_.get(), name, &component),
                     "CreateComponent");
  if (!status.ok()) return status;
  component_.reset(component);
  if (status = ReadCaps(); !status.ok()) return status;
  if (status = Configure(); !status.ok()) return status;

  const int32_t format = settings_.input_format == EncoderInput::P010 ? kSurfaceP010 : kSurfaceNv12;
  status = AmfStatus(component_->Init(format, static_cast<int32_t>(settings_.width),
                                      static_cast<int32_t>(settings_.height)),
                     "Init");
  if (!status.ok()) return status;
  initialised_ = true;
  return ReadHeader();
}

// Old drivers have components for what the chip does not do. Those that tell nothing are
// judged by whether they open.
Status AmfEncoder::ReadCaps() {
  AMFCaps* caps = nullptr;
  if (component_->GetCaps(&caps) != AMF_OK || caps == nullptr) return Status::Ok();
  const AmfRef<AMFCaps> held(caps);
  if (caps->GetAccelerationType() != kHardware) {
    return {StatusCode::Unsupported,
            "AMF has no encoder on this GPU for " + std::string(CodecWord(settings_.codec))};
  }
  AMFIOCaps* input = nullptr;
  if (caps->GetInputCaps(&input) != AMF_OK || input == nullptr) return Status::Ok();
  const AmfRef<AMFIOCaps> held_input(input);
  int32_t least = 0;
  int32_t most = 0;
  input->GetWidthRange(&least, &most);
  max_width_ = static_cast<uint32_t>(std::max(most, 0));
  input->GetHeightRange(&least, &most);
  max_height_ = static_cast<uint32_t>(std::max(most, 0));
  return Status::Ok();
}

Status AmfEncoder::Configure() {
  for (const AmfProperty& property : AmfProperties(settings_)) {
    const AMF_RESULT result = component_->SetProperty(property.name, property.value);
    if (result == AMF_OK) continue;
    const std::string name = Narrow(property.name);
    if (property.required) return AmfStatus(result, ("setting " + name).c_str());
    LogInfo("encoder: AMF does not take %s (%d)", name.c_str(), result);
  }
  return SetMetadata();
}

Status AmfEncoder::SetMetadata() {
  const wchar_t* name = AmfNames(settings_.codec).hdr_metadata;
  if (name == nullptr || settings_.mastering == MasteringMetadata{}) return Status::Ok();
  const AMFHDRMetadata metadata = AmfMetadata(settings_.mastering);
  AMFBuffer* made = nullptr;
  Status status =
      AmfStatus(context_->AllocBuffer(kMemoryHost, sizeof(metadata), &made), "AllocBuffer");
  if (!status.ok()) return status;
  const AmfRef<AMFBuffer> buffer(made);
  std::memcpy(buffer->GetNative(), &metadata, sizeof(metadata));
  return AmfStatus(component_->SetProperty(name, AMFVariantStruct::OfObject(buffer.get())),
                   "setting HDR metadata");
}

Status AmfEncoder::ReadHeader() {
  AMFVariantStruct value;
  Status status = AmfStatus(component_->GetProperty(AmfNames(settings_.codec).header, &value),
                            "reading the header");
  if (!status.ok()) return status;
  if (value.type == AMFVariantStruct::Interface && value.object != nullptr) {
    const AmfRef<AMFInterface> object(value.object);
    const AmfRef<AMFBuffer> buffer = AsBuffer(*object);
    if (buffer) header_ = SequenceHeader(settings_.codec, BytesOf(*buffer));
  }
  if (!header_.empty()) return Status::Ok();
  return {StatusCode::DriverError, "AMF gave no sequence header"};
}

Status AmfEncoder::Submit(const EncoderFrame& frame) {
  const D3d11Picture* picture = nullptr;
  Status status = FrameTexture(frame, settings_, picture);
  if (status.ok()) status = pictures_.CheckNext();
  AmfRef<AMFSurface> surface;
  if (status.ok()) status = Wrap(*picture, frame.pts, pictures_.IsKeyframe(frame), surface);
  if (!status.ok()) return status;
  status = Insist("SubmitInput", [&] { return component_->SubmitInput(surface.get()); });
  if (status.ok()) pictures_.Add(frame, frame.pts);
  return status;
}

Status AmfEncoder::Wrap(const D3d11Picture& picture, uint64_t pts, bool keyframe,
                        AmfRef<AMFSurface>& surface) const {
  if (picture.sub_resource() != 0) {
    return {StatusCode::InvalidArgument, "AMF takes no textures of several pictures"};
  }
  AMFSurface* made = nullptr;
  Status status =
      AmfStatus(context_->CreateSurfaceFromDX11Native(picture.texture(), &made, nullptr),
                "CreateSurfaceFromDX11Native");
  if (!status.ok()) return status;
  surface.reset(made);
  surface->SetPts(static_cast<int64_t>(pts / kNsPerTick));
  if (!keyframe) return Status::Ok();
  const AmfCodecNames& names = AmfNames(settings_.codec);
  status = AmfStatus(
      surface->SetProperty(names.force_picture, AMFVariantStruct::OfInt(names.force_keyframe)),
      "forcing a keyframe");
  if (!status.ok() || names.insert_sequence == nullptr) return status;
  return AmfStatus(surface->SetProperty(names.insert_sequence, AMFVariantStruct::OfBool(true)),
                   "inserting a header");
}

template <typename Call>
Status AmfEncoder::Insist(const char* name, Call call) {
  for (uint32_t waited_ms = 0; waited_ms < kFullQueueMs;) {
    const AMF_RESULT result = call();
    if (result == AMF_NEED_MORE_INPUT) return Status::Ok();
    if (result != AMF_INPUT_FULL) return AmfStatus(result, name);
    bool taken = false;
    if (Status status = Receive(taken); !status.ok()) return status;
    if (taken) continue;
    PauseMs(1);
    ++waited_ms;
  }
  return {StatusCode::DriverError, std::string(name) + " failed: the encoder's queue stays full"};
}

Status AmfEncoder::Receive(bool& taken) {
  taken = false;
  AMFData* made = nullptr;
  const AMF_RESULT result = component_->QueryOutput(&made);
  const AmfRef<AMFData> data(made);
  if (result == AMF_EOF) finished_ = true;
  if (result == AMF_EOF || result == AMF_REPEAT || result == AMF_NEED_MORE_INPUT) {
    return Status::Ok();
  }
  if (result != AMF_OK) return AmfStatus(result, "QueryOutput");
  if (!data) return Status::Ok();
  taken = true;
  return Keep(*data);
}

Status AmfEncoder::Keep(AMFData& data) {
  const AmfRef<AMFBuffer> buffer = AsBuffer(data);
  if (!buffer) return {StatusCode::DriverError, "AMF gave something that is no packet"};
  AMFVariantStruct type;
  Status status =
      AmfStatus(data.GetProperty(AmfNames(settings_.codec).picture_type, &type), "reading a type");
  if (!status.ok()) return status;
  const bool keyframe = type.type == AMFVariantStruct::Int64 && type.number == 0;
  return pictures_.Keep(static_cast<uint64_t>(data.GetPts()) * kNsPerTick, kNsPerTick, keyframe,
                        PacketPayload(settings_.codec, BytesOf(*buffer)));
}

CollectResult AmfEncoder::Collect(EncodedPacket& packet, Status& status) {
  status = Status::Ok();
  bool taken = false;
  if (!pictures_.HasPacket() && !finished_) status = Receive(taken);
  if (!pictures_.HasPacket()) {
    return finished_ && status.ok() ? CollectResult::Finished : CollectResult::NothingYet;
  }
  packet = pictures_.Take();
  return CollectResult::Packet;
}

Status AmfEncoder::Drain() {
  if (!pictures_.BeginDrain()) return Status::Ok();
  return Insist("Drain", [&] { return component_->Drain(); });
}

}  // namespace orventa
