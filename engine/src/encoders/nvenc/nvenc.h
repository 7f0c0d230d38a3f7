// NVIDIA's encoder on textures of a Direct3D 11 device. Its library comes with the
// display driver and is bound at run time, so that there need not be one.
//   nvenc_abi.h      the library's binary interface
//   nvenc_api.cpp    the library: loading, sessions, what its errors mean
//   nvenc_config.cpp our settings in its words
//   nvenc_encoder.cpp one encoder at work
//   nvenc_backend.cpp what there is on an adapter
#pragma once

#include "encoders/encoders_win/card_backend.h"

namespace orventa {

class NvencApi;

extern const Card<NvencApi> kNvencCard;
using NvencBackend = CardBackend<NvencApi, kNvencCard>;

}  // namespace orventa
