// Our settings as the properties of AMF's encoders, whose names and numbers differ
// from codec to codec. Pure functions, any thread.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "encoders/amf/amf_abi.h"
#include "encoders/encoder.h"

namespace orventa {

// What the library calls an encoder and its ways of speaking.
struct AmfCodecNames {
  const wchar_t* component;
  const wchar_t* header;           // property of the encoder
  const wchar_t* hdr_metadata;     // property of the encoder; null: the codec has none
  const wchar_t* force_picture;    // property of a surface
  int64_t force_keyframe;          // its value
  const wchar_t* insert_sequence;  // property of a surface; null: keyframes do without
  const wchar_t* picture_type;     // property of a packet, 0 for a keyframe
};
const AmfCodecNames& AmfNames(Codec codec);

// From here on `settings` are as PlainCardSettings gives them.
struct AmfProperty {
  const wchar_t* name;
  amf::AMFVariantStruct value;
  bool required;  // else an older runtime may do without
};
// In the order in which they are set, all of them before Init.
std::vector<AmfProperty> AmfProperties(const EncoderSettings& settings);

amf::AMFHDRMetadata AmfMetadata(const MasteringMetadata& mastering);

}  // namespace orventa
