#include "encoders/nvenc/nvenc.h"
#include "encoders/nvenc/nvenc_api.h"
#include "encoders/nvenc/nvenc_config.h"
#include "encoders/nvenc/nvenc_encoder.h"
#include "encoders/nvenc_presets.h"
#include "media/media_win/d3d11.h"

namespace orventa {
namespace {

using namespace nvenc;

constexpr uint32_t kNvidia = 0x10DE;

// The device behind the opaque one, if it has one.
const D3d11Device* DeviceOf(const GraphicsDevice& device) {
  const auto* d3d11 = dynamic_cast<const D3d11Device*>(&device);
  return d3d11 != nullptr && d3d11->device() != nullptr ? d3d11 : nullptr;
}

constexpr char kNoDevice[] = "null D3D11 device";

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

bool NvencBackend::Supports(const GraphicsDevice& device) {
  const D3d11Device* d3d11 = DeviceOf(device);
  return d3d11 != nullptr && d3d11->adapter().vendor_id == kNvidia && library_().loaded();
}

Status NvencBackend::Probe(GraphicsDevice& device, EncoderCaps& caps) {
  caps = {};
  caps.name = std::string(Name());
  caps.device_name = device.AdapterName();
  const D3d11Device* d3d11 = DeviceOf(device);
  if (d3d11 == nullptr) return {StatusCode::InvalidArgument, kNoDevice};
  if (!library_().loaded()) return library_().failure();

  NvencSession session(library_());
  Status status = session.Open(*d3d11->device(), "nvEncOpenEncodeSessionEx(probe)");
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
  const D3d11Device* d3d11 = DeviceOf(device);
  if (d3d11 == nullptr) return {StatusCode::InvalidArgument, kNoDevice};
  if (!library_().loaded()) return library_().failure();
  EncoderSettings effective;
  if (Status status = NvencSettings(settings, effective); !status.ok()) return status;
  auto made = std::make_unique<NvencEncoder>(library_(), *d3d11, std::move(effective));
  if (Status status = made->Open(); !status.ok()) return status;
  encoder = std::move(made);
  return Status::Ok();
}

IEncoderBackend& TheNvencBackend() {
  static NvencBackend backend(NvencApi::OfDriver);
  return backend;
}

}  // namespace orventa
