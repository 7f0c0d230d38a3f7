#include "base/base_win/media_foundation.h"
#include "encoders/card_rules.h"
#include "encoders/mf/mf.h"
#include "encoders/mf/mf_encoder.h"
#include "encoders/mf/mf_transform.h"

namespace orventa {
namespace {

Status Loaded(const MediaFoundation& mf) {
  if (mf.complete) return Status::Ok();
  return {StatusCode::BackendUnavailable, "this Windows has no Media Foundation"};
}

Status Probe(const MediaFoundation& mf, const AdapterFacts& adapter,
             std::vector<CodecCaps>& codecs) {
  MfSession session(mf);
  if (Status status = session.Start(); !status.ok()) return status;
  const auto opens = [&](const EncoderSettings& settings, CodecCaps& size) {
    MfTransform transform(mf, adapter, settings);
    Status status = transform.Open();
    if (!status.ok()) return status;
    transform.ReadLimits(size.max_width, size.max_height);
    return transform.Begin();
  };
  return TryCodecs(kQsvCard.name, opens, codecs);
}

Status Open(const MediaFoundation& mf, const AdapterFacts& adapter, const EncoderSettings& settings,
            std::unique_ptr<IVideoEncoder>& encoder) {
  EncoderSettings effective;
  Status status = PlainCardSettings(kQsvCard.name, settings, effective);
  if (!status.ok()) return status;
  effective.adaptive_quantization = false;  // nothing to ask for it with
  return OpenCardEncoder<MfEncoder>(mf, adapter, std::move(effective), encoder);
}

}  // namespace

constexpr Card<MediaFoundation> kQsvCard = {"Quick Sync", 0x8086, Loaded,
                                            SpeedPresets, Probe,  Open};

}  // namespace orventa
