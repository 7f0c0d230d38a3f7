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

extern const Card<AmfApi> kAmfCard;
using AmfBackend = CardBackend<AmfApi, kAmfCard>;

}  // namespace orventa
