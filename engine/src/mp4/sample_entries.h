// The stsd entries: what a decoder and a player must know of a track's samples.
// Used by BuildMoov. Any thread.
#pragma once

#include "base/bytes.h"
#include "mp4/configuration.h"
#include "mp4/movie.h"

namespace orventa {

// avc1, hvc1 or av01, with its configuration, colour and HDR boxes.
void WriteVideoSampleEntry(ByteWriter& out, const Mp4VideoTrack& track,
                           const VideoConfiguration& configuration);

// The longest AudioSpecificConfig that esds can hold: its descriptors' sizes are
// one byte each, of which seven bits count.
inline constexpr size_t kMaxAudioConfigBytes = 104;

// mp4a with its esds.
void WriteSoundSampleEntry(ByteWriter& out, const Mp4AudioTrack& track);

}  // namespace orventa
