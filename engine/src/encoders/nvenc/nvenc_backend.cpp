#include "encoders/nvenc/nvenc.h"
#include "encoders/nvenc/nvenc_api.h"
#include "encoders/nvenc/nvenc_config.h"
#include "encoders/nvenc/nvenc_encoder.h"
#include "encoders/nvenc_presets.h"

namespace orventa {
namespace {

using namespace nvenc;

constexpr uint32_t kNvidia = 0x10DE;

Status ReadCaps(const NvencSession& session, Codec codec, CodecCaps& caps) {
  const auto ask = [&](uint32_t what, int& value) {
    NV_ENC_CAPS_PARAM params{};
    params.capsToQuery = what;
    return session.Try("nvEncGetEncodeCaps", &NV_ENCODE_API_FUNCTION_LIST::nvEncGetEncodeCaps,
                       NvencCodecGuid(codec), &params, &value);
  };
  struct Row {
    uint32_t what;
    int value = 0;
  };
  Row rows[] = {{NV_ENC_CAPS_WIDTH_MAX},
                {NV_ENC_CAPS_HEIGHT_MAX},
                {NV_ENC_CAPS_SUPPORT_10BIT_ENCODE},
                {NV_ENC_CAPS_NUM_MAX_BFRAMES},
                {NV_ENC_CAPS_SUPPORT_LOSSLESS_ENCODE}};
  for (Row& row : rows) {
    if (Status status = ask(row.what, row.value); !status.ok()) return status;
  }
  caps.codec = codec;
  caps.max_width = static_cast<uint32_t>(rows[0].value);
  caps.max_height = static_cast<uint32_t>(rows[1].value);
  caps.ten_bit = rows[2].value != 0 && codec != Codec::H264;  // as NvencSettings has it
  caps.b_frames = rows[3].value > 0;
  caps.lossless = rows[4].value != 0;
  return Status::Ok();
}

}  // namespace

std::string NvencBackend::LoadMessage() const {
  return library_().failure().message();
}

Status NvencBackend::Find(const GraphicsDevice& device, AdapterFacts& adapter) const {
  adapter = find_adapter_(device);
  if (!adapter.device) return {StatusCode::InvalidArgument, "null D3D11 device"};
  return library_().failure();
}

bool NvencBackend::Supports(const GraphicsDevice& device) {
  AdapterFacts adapter;
  return Find(device, adapter).ok() && adapter.vendor_id == kNvidia;
}

Status NvencBackend::Probe(GraphicsDevice& device, EncoderCaps& caps) {
  caps = {};
  caps.name = std::string(Name());
  caps.device_name = device.AdapterName();
  AdapterFacts adapter;
  if (Status status = Find(device, adapter); !status.ok()) return status;
  NvencSession session(library_());
  Status status = session.Open(*adapter.device.Get(), "nvEncOpenEncodeSessionEx(probe)");
  std::vector<Codec> codecs;
  if (status.ok()) status = session.ListCodecs(codecs);
  for (const Codec codec : codecs) {
    CodecCaps row;
    if (status.ok()) status = ReadCaps(session, codec, row);
    if (status.ok()) caps.codecs.push_back(row);
  }
  return status;
}

std::vector<Codec> NvencBackend::Capabilities() const {
  return {Codec::H264, Codec::Hevc, Codec::Av1};
}

std::vector<EncoderPreset> NvencBackend::Presets() const {
  std::vector<EncoderPreset> presets;
  for (const Codec codec : Capabilities()) {
    for (EncoderPreset& preset : NvencPresets(codec)) presets.push_back(std::move(preset));
  }
  return presets;
}

Status NvencBackend::Create(GraphicsDevice& device, const EncoderSettings& settings,
                            std::unique_ptr<IVideoEncoder>& encoder) {
  encoder.reset();
  AdapterFacts adapter;
  if (Status status = Find(device, adapter); !status.ok()) return status;
  EncoderSettings effective;
  if (Status status = NvencSettings(settings, effective); !status.ok()) return status;
  auto made = std::make_unique<NvencEncoder>(library_(), adapter, std::move(effective));
  if (Status status = made->Open(); !status.ok()) return status;
  encoder = std::move(made);
  return Status::Ok();
}

}  // namespace orventa
