// From settings, picture and display to what the encoder is asked for and what
// the history has to hold. Pure functions.
#pragma once

#include <cstdint>
#include <string>

#include "encoders/encoder.h"
#include "mp4/movie.h"
#include "settings/config.h"
#include "video/capture.h"
#include "video/effective_settings.h"
#include "video/replay_buffer.h"

namespace orventa {

struct PictureSize {
  uint32_t width = 0;  // pixels
  uint32_t height = 0;
  bool operator==(const PictureSize&) const = default;
};

// What is encoded of a source: its own size, or the height asked for with the
// width that keeps the shape. Even in both directions, at least 2.
PictureSize EncodedSize(PictureSize source, uint32_t wanted_height);

// The average bitrate that the settings mean for a source of this size.
uint32_t BitrateKbps(const Config::Video& video, PictureSize source);

// Whether one encoding engine has too little headroom for this rate and size.
bool WantsSplitEncode(Codec codec, PictureSize size, uint32_t fps);

EncoderSettings ChooseEncoderSettings(const Config& config, PictureSize source,
                                      const DisplayDescription& display);

// How files describe a stream that was encoded with these settings.
Mp4VideoTrack DescribeVideo(const EncoderSettings& settings, const DisplayDescription& display,
                            std::vector<uint8_t> header);

// The picture that the history's byte budget is worked out for.
struct BudgetBasis {
  PictureSize source;                 // zero: not known yet
  uint32_t encoder_bitrate_kbps = 0;  // of the encoder now running; 0: none
};
ReplayBufferOptions HistoryOptions(const EffectiveSettings& settings, const BudgetBasis& basis,
                                   const std::string& disk_folder);

// How much of the replay length fits the user's memory limit, in seconds.
uint32_t ReplaySecondsWithinLimit(const EffectiveSettings& settings, const BudgetBasis& basis);

}  // namespace orventa
