// Our settings in the words of each of libavcodec's encoders. Pure functions but
// for a look at the number of processors. Any thread.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "encoders/encoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace orventa {

enum class LavcKind { Nvenc, VaApi, Software };

// libavcodec's name of the encoder, which this build of it may or may not have;
// empty when there is none of this kind at all.
std::string LavcEncoderName(LavcKind kind, Codec codec);
// The speeds that the kind offers for a codec, fastest first.
std::vector<EncoderPreset> LavcPresets(LavcKind kind, Codec codec);

// `wanted` as the encoder will really run it: no B-frames, a preset that it knows,
// values inside its limits. Unsupported or InvalidArgument when it cannot.
Status EffectiveSettings(LavcKind kind, const EncoderSettings& wanted, EncoderSettings& out);

// The format in which pictures in memory reach the encoder: as they come, or with
// their chroma in separate planes.
AVPixelFormat LavcInputFormat(LavcKind kind, const EncoderSettings& settings);

// Fills in a context that is not open yet, all but its pixel format.
void FillContext(LavcKind kind, const EncoderSettings& settings, AVCodecContext& context);

// Options by libavcodec's names, to be given when the context is opened.
using LavcOptionList = std::vector<std::pair<std::string, std::string>>;
LavcOptionList LavcOptions(LavcKind kind, const EncoderSettings& settings);

}  // namespace orventa
