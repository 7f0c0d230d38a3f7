// AMD's encoder on textures of a Direct3D 11 device. Its library comes with the
// display driver and is bound at run time, so that there need not be one.
//   amf_abi.h      the library's binary interface
//   amf_api.cpp    the library: loading, contexts, what its errors mean
//   amf_options.cpp our settings as properties of its encoders
//   amf_encoder.cpp one encoder at work
//   amf_backend.cpp what there is on an adapter
#pragma once

#include "encoders/encoders_win/card_backend.h"

namespace orventa {

class AmfApi;

struct AmfCard {
  using Library = AmfApi;
  static constexpr std::string_view kName = "AMF";
  static constexpr uint32_t kVendor = 0x1002;

  static Status Loaded(const Library& library);
  static std::vector<EncoderPreset> Presets();
  static Status Probe(const Library& library, const AdapterFacts& adapter,
                      std::vector<CodecCaps>& codecs);
  static Status Open(const Library& library, const AdapterFacts& adapter,
                     const EncoderSettings& settings, std::unique_ptr<IVideoEncoder>& encoder);
};

using AmfBackend = CardBackend<AmfCard>;

}  // namespace orventa
