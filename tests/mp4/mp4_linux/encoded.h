// Streams of real encoders as packets, and what ffprobe says of a file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "mp4/mp4.h"
#include "tests/mp4/mp4_linux/shell.h"

namespace orventa::test {

std::string Probe(const std::string& file, const std::string& stream, const std::string& entries);

// 320 x 180 at 30 frames a second.
Mp4Movie MovieOf(Mp4Codec codec);
// Cuts an Annex B stream into frames, each of which ends with its one slice.
void AddFrames(const std::vector<uint8_t>& stream, Mp4Movie& movie);
// Cuts an AV1 stream into temporal units, and leaves out the delimiters.
void AddTemporalUnits(const std::vector<uint8_t>& stream, Mp4Movie& movie);
// AAC frames without their ADTS headers, one every 1024 samples of 48 kHz.
Mp4SoundTrack SoundOf(const std::vector<uint8_t>& adts, uint64_t first_pts_ns);

}  // namespace orventa::test
