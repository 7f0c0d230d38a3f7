#include "encoders/amf/amf.h"
#include "encoders/amf/amf_api.h"
#include "encoders/amf/amf_encoder.h"
#include "encoders/card_rules.h"

namespace orventa {
namespace {

Status Loaded(const AmfApi& api) {
  return api.failure();
}

Status Probe(const AmfApi& api, const AdapterFacts& adapter, std::vector<CodecCaps>& codecs) {
  const auto opens = [&](const EncoderSettings& settings, CodecCaps& size) {
    AmfEncoder encoder(api, adapter, settings);
    Status status = encoder.Open();
    size.max_width = encoder.max_width();
    size.max_height = encoder.max_height();
    return status;
  };
  return TryCodecs(kAmfCard.name, opens, codecs);
}

Status Open(const AmfApi& api, const AdapterFacts& adapter, const EncoderSettings& settings,
            std::unique_ptr<IVideoEncoder>& encoder) {
  EncoderSettings effective;
  Status status = PlainCardSettings(kAmfCard.name, settings, effective);
  if (!status.ok()) return status;
  return OpenCardEncoder<AmfEncoder>(api, adapter, std::move(effective), encoder);
}

}  // namespace

constexpr Card<AmfApi> kAmfCard = {"AMF", 0x1002, Loaded, SpeedPresets, Probe, Open};

}  // namespace orventa
