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

// "speed", "balanced", "quality".
std::vector<EncoderPreset> AmfPresets(Codec codec);

// `wanted` as the encoder will really run it; fails when it never can.
Status AmfSettings(const EncoderSettings& wanted, EncoderSettings& out);

// From here on `settings` are such ones.

struct AmfProperty {
  const wchar_t* name;
  amf::AMFVariantStruct value;
  bool required;  // else an older runtime may do without
};
// In the order in which they are set, all of them before Init.
std::vector<AmfProperty> AmfProperties(const EncoderSettings& settings);

// Pictures from one keyframe to the next. The encoder is told of each by itself: the
// library's own period does not go with forced ones, and ends at a thousand.
uint64_t AmfKeyframeDistance(const EncoderSettings& settings);

amf::AMFHDRMetadata AmfMetadata(const MasteringMetadata& mastering);

}  // namespace orventa
