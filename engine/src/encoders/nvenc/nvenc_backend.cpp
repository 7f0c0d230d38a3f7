#include "encoders/nvenc/nvenc.h"
#include "encoders/nvenc/nvenc_api.h"
#include "encoders/nvenc/nvenc_config.h"
#include "encoders/nvenc/nvenc_encoder.h"
#include "encoders/nvenc_presets.h"

namespace orventa {
namespace {

using namespace nvenc;

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

Status Loaded(const NvencApi& api) {
  return api.failure();
}

std::vector<EncoderPreset> Presets() {
  std::vector<EncoderPreset> presets;
  for (const Codec codec : {Codec::H264, Codec::Hevc, Codec::Av1}) {
    for (EncoderPreset& preset : NvencPresets(codec)) presets.push_back(std::move(preset));
  }
  return presets;
}

Status Probe(const NvencApi& api, const AdapterFacts& adapter, std::vector<CodecCaps>& codecs) {
  NvencSession session(api);
  Status status = session.Open(*adapter.device.Get(), "nvEncOpenEncodeSessionEx(probe)");
  std::vector<Codec> listed;
  if (status.ok()) status = session.ListCodecs(listed);
  for (const Codec codec : listed) {
    CodecCaps row;
    if (status.ok()) status = ReadCaps(session, codec, row);
    if (status.ok()) codecs.push_back(row);
  }
  return status;
}

Status Open(const NvencApi& api, const AdapterFacts& adapter, const EncoderSettings& settings,
            std::unique_ptr<IVideoEncoder>& encoder) {
  EncoderSettings effective;
  if (Status status = NvencSettings(settings, effective); !status.ok()) return status;
  return OpenCardEncoder<NvencEncoder>(api, adapter, std::move(effective), encoder);
}

}  // namespace

constexpr Card<NvencApi> kNvencCard = {"NVENC", 0x10DE, Loaded, Presets, Probe, Open};

}  // namespace orventa
