// What encoders have in common, whichever library stands before them: most of it those of
// graphics cards. Pure functions but for a line in the log; any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "encoders/encoder.h"

namespace orventa {

// Said of a card that has no session free.
inline constexpr std::string_view kGpuBusy =
    "GPU encoder busy or out of memory -- another capture app may be running";

// The format in which pictures come.
PixelFormat InputPictures(const EncoderSettings& settings);
// InvalidArgument for a picture that is not what the settings promised.
Status CheckPicture(const Picture& picture, const EncoderSettings& settings);

// `wanted` within the limits that all of them have; fails when none could ever run it.
Status CardSettings(const EncoderSettings& wanted, EncoderSettings& out);

// The same for those that take no pictures but NV12 and P010, give every packet in its
// picture's turn, and know one preset of SpeedPresets.
Status PlainCardSettings(std::string_view encoder, const EncoderSettings& wanted,
                         EncoderSettings& out);

// "speed", "balanced", "quality", and the place of a name among them.
std::vector<EncoderPreset> SpeedPresets();
size_t SpeedPresetIndex(std::string_view name);

// Puts `fallback` in the place of a preset that is not one of `presets`.
void ChoosePreset(std::string_view encoder, const std::vector<EncoderPreset>& presets,
                  std::string_view fallback, EncoderSettings& settings);

// Opens an encoder to see whether it can be; may fill in the largest size that it tells.
using OpensCodec = std::function<Status(const EncoderSettings& settings, CodecCaps& size)>;

// The codecs whose encoder really opens, with 8 and with 10 bits: what a driver lists is
// not always what the chip does. Sizes that nobody told become the usual limits of the
// hardware in use. When none opens, and not because there is none, it fails as the first.
Status TryCodecs(std::string_view encoder, const OpensCodec& opens, std::vector<CodecCaps>& rows);

// Pictures from one keyframe to the next, at least 1.
uint32_t KeyframeDistance(const EncoderSettings& settings);

uint32_t BitsPerSecond(uint32_t kbps);

// The quantizer in the codec's own units.
uint32_t CodecQp(const EncoderSettings& settings);

// The numbers that H.264, HEVC and AV1 share for colours.
struct ColourNumbers {
  uint32_t primaries;
  uint32_t transfer;
  uint32_t matrix;
};
ColourNumbers ColourNumbersOf(const EncoderSettings& settings);

// A value of mastering metadata as a whole number of its unit's `scale` parts.
uint32_t MasteringUnits(float value, float scale);
uint16_t ChromaticityUnits(float value, float scale);

}  // namespace orventa
