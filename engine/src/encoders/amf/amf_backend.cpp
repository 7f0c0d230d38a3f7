#include "encoders/amf/amf.h"
#include "encoders/amf/amf_api.h"
#include "encoders/amf/amf_encoder.h"
#include "encoders/card_rules.h"

namespace orventa {
namespace {

constexpr uint32_t kAmd = 0x1002;

}  // namespace

std::string AmfBackend::LoadMessage() const {
  return library_().failure().message();
}

Status AmfBackend::Find(const GraphicsDevice& device, AdapterFacts& adapter) const {
  adapter = find_adapter_(device);
  if (!adapter.device) return {StatusCode::InvalidArgument, "null D3D11 device"};
  return library_().failure();
}

bool AmfBackend::Supports(const GraphicsDevice& device) {
  AdapterFacts adapter;
  return Find(device, adapter).ok() && adapter.vendor_id == kAmd;
}

Status AmfBackend::Probe(GraphicsDevice& device, EncoderCaps& caps) {
  caps = {};
  caps.name = std::string(Name());
  caps.device_name = device.AdapterName();
  AdapterFacts adapter;
  if (Status status = Find(device, adapter); !status.ok()) return status;
  {
    AmfContextRef context;
    Status status = library_().MakeContext(*adapter.device.Get(), context);
    if (!status.ok()) return status;
  }
  caps.codecs = TryCodecs(Name(), [&](const EncoderSettings& settings, CodecCaps& size) {
    AmfEncoder encoder(library_(), adapter, settings);
    if (!encoder.Open().ok()) return false;
    encoder.ReadLimits(size.max_width, size.max_height);
    return true;
  });
  return Status::Ok();
}

std::vector<Codec> AmfBackend::Capabilities() const {
  return {Codec::H264, Codec::Hevc, Codec::Av1};
}

std::vector<EncoderPreset> AmfBackend::Presets() const {
  return SpeedPresets();
}

Status AmfBackend::Create(GraphicsDevice& device, const EncoderSettings& settings,
                          std::unique_ptr<IVideoEncoder>& encoder) {
  encoder.reset();
  AdapterFacts adapter;
  if (Status status = Find(device, adapter); !status.ok()) return status;
  EncoderSettings effective;
  Status status = PlainCardSettings(Name(), settings, effective);
  if (!status.ok()) return status;
  auto made = std::make_unique<AmfEncoder>(library_(), adapter, std::move(effective));
  if (status = made->Open(); !status.ok()) return status;
  encoder = std::move(made);
  return Status::Ok();
}

}  // namespace orventa
