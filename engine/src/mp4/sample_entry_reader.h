// Reads what `stsd` says of a track's samples: the way back from sample_entries.h,
// for the entries of other tools, too. Used by the reader. Any thread.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "base/status.h"
#include "mp4/box_reader.h"
#include "mp4/movie.h"

namespace orventa {

// The entries of an stsd.
struct SampleEntries {
  BoxView first;  // of type 0 when there is none
  uint32_t count = 0;
  bool one_type = true;
};
SampleEntries ReadSampleEntries(std::span<const uint8_t> stsd);

// Everything but the rate. Refuses what is not H.264, HEVC or AV1, and what has no
// configuration record that can be read.
Status ReadVideoEntry(const BoxView& entry, Mp4VideoTrack& track);

// False for sound that cannot be passed on: all but AAC in mp4a. A rate of 0 is
// one that the entry could not hold.
bool ReadSoundEntry(const BoxView& entry, Mp4AudioTrack& track);

// Four characters for a message.
std::string FourCcText(uint32_t code);

}  // namespace orventa
