#include "base/base_win/media_foundation.h"
#include "encoders/card_rules.h"
#include "encoders/mf/mf.h"
#include "encoders/mf/mf_encoder.h"
#include "encoders/mf/mf_transform.h"

namespace orventa {
namespace {

constexpr uint32_t kIntel = 0x8086;

}  // namespace

Status QsvBackend::LoadStatus() const {
  if (library_().complete) return Status::Ok();
  return {StatusCode::BackendUnavailable, "this Windows has no Media Foundation"};
}

std::string QsvBackend::LoadMessage() const {
  return LoadStatus().message();
}

Status QsvBackend::Find(const GraphicsDevice& device, AdapterFacts& adapter) const {
  adapter = find_adapter_(device);
  if (!adapter.device) return {StatusCode::InvalidArgument, "null D3D11 device"};
  return LoadStatus();
}

bool QsvBackend::Supports(const GraphicsDevice& device) {
  AdapterFacts adapter;
  return Find(device, adapter).ok() && adapter.vendor_id == kIntel;
}

Status QsvBackend::Probe(GraphicsDevice& device, EncoderCaps& caps) {
  caps = {};
  caps.name = std::string(Name());
  caps.device_name = device.AdapterName();
  AdapterFacts adapter;
  if (Status status = Find(device, adapter); !status.ok()) return status;
  const MediaFoundation& mf = library_();
  MfSession session(mf);
  if (Status status = session.Start(); !status.ok()) return status;
  caps.codecs = TryCodecs(Name(), [&](const EncoderSettings& settings, CodecCaps& size) {
    MfTransform transform(mf, adapter, settings);
    if (!transform.Open().ok()) return false;
    transform.ReadLimits(size.max_width, size.max_height);
    return transform.Begin().ok();
  });
  return Status::Ok();
}

std::vector<Codec> QsvBackend::Capabilities() const {
  return {Codec::H264, Codec::Hevc, Codec::Av1};
}

std::vector<EncoderPreset> QsvBackend::Presets() const {
  return SpeedPresets();
}

Status QsvBackend::Create(GraphicsDevice& device, const EncoderSettings& settings,
                          std::unique_ptr<IVideoEncoder>& encoder) {
  encoder.reset();
  AdapterFacts adapter;
  if (Status status = Find(device, adapter); !status.ok()) return status;
  EncoderSettings effective;
  Status status = PlainCardSettings(Name(), settings, effective);
  if (!status.ok()) return status;
  effective.adaptive_quantization = false;  // nothing to ask for it with
  auto made = std::make_unique<MfEncoder>(library_(), adapter, std::move(effective));
  if (status = made->Open(); !status.ok()) return status;
  encoder = std::move(made);
  return Status::Ok();
}

}  // namespace orventa
