#include "base/base_win/media_foundation.h"
#include "encoders/card_rules.h"
#include "encoders/mf/mf.h"
#include "encoders/mf/mf_encoder.h"
#include "encoders/mf/mf_transform.h"

namespace orventa {
namespace {

constexpr uint32_t kIntel = 0x8086;

// What the driver lists is not always what the chip does: only an encoder that starts
// counts. False: this one does not.
bool Starts(const MediaFoundation& mf, const AdapterFacts& adapter, Codec codec, EncoderInput input,
            CodecCaps& row) {
  EncoderSettings settings;
  if (!PlainCardSettings("Quick Sync", TrialSettings(codec, input), settings).ok()) return false;
  MfTransform transform(mf, adapter, settings);
  if (!transform.Open().ok()) return false;
  transform.ReadLimits(row.max_width, row.max_height);
  // Limits of the generations of hardware in use, for a driver that tells none.
  const uint32_t typical = codec == Codec::H264 ? 4096 : 8192;
  if (row.max_width == 0) row.max_width = row.max_height = typical;
  return transform.Begin().ok();
}

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
  for (const Codec codec : Capabilities()) {
    CodecCaps row;
    row.codec = codec;
    if (!Starts(mf, adapter, codec, EncoderInput::Nv12, row)) continue;
    CodecCaps unused;
    row.ten_bit = Starts(mf, adapter, codec, EncoderInput::P010, unused);
    caps.codecs.push_back(row);
  }
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
