// The stsd entries: what a decoder and a player must know of a track's samples.
// Used by BuildMoov. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "mp4/configuration.h"
#include "mp4/movie.h"

namespace orventa {

// Bytes of an entry's own fields, before its child boxes.
inline constexpr size_t kVideoEntryBytes = 78;
inline constexpr size_t kSoundEntryBytes = 28;

// Which of a track's chromaticities stands where in mdcv: the track has red, green,
// blue, white; the box green, blue, red, white.
inline constexpr size_t kMasteringOrder[] = {2, 3, 4, 5, 0, 1, 6, 7};

// The descriptors in an esds.
enum class EsTag : uint8_t { Es = 3, DecoderConfig = 4, SpecificInfo = 5, SlConfig = 6 };
inline constexpr uint8_t kAacObjectType = 0x40;

// avc1, hvc1 or av01, with its configuration, colour and HDR boxes.
void WriteVideoSampleEntry(ByteWriter& out, const Mp4VideoTrack& track,
                           const VideoConfiguration& configuration);

// The longest AudioSpecificConfig that esds can hold: its descriptors' sizes are
// one byte each, of which seven bits count.
inline constexpr size_t kMaxAudioConfigBytes = 104;

// mp4a with its esds.
void WriteSoundSampleEntry(ByteWriter& out, const Mp4AudioTrack& track);

}  // namespace orventa
