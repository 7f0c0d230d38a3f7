// The one routine that writes a `moov`: for finished clips, for both ends of a
// recording and for its repair. The caller fills a TrackTable a track, calls
// BuildMoov, works out where the chunks lie, and has the offsets patched. Any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "mp4/configuration.h"
#include "mp4/movie.h"
#include "mp4/track_table.h"

namespace orventa {

// A sound track; one with no samples is passed over and takes no track number.
struct SoundEntry {
  const Mp4AudioTrack* track = nullptr;
  TrackTable* table = nullptr;
  uint64_t cut = 0;       // samples at the media's start to skip
  uint64_t delay_ns = 0;  // silence before it
};

struct WebcamEntry {
  const Mp4VideoTrack* track = nullptr;
  const WebcamPlacement* placement = nullptr;
  const VideoConfiguration* configuration = nullptr;
  TrackTable* table = nullptr;
  uint64_t cut = 0;  // in the table's timescale
  uint64_t delay_ns = 0;
};

enum class MoovKind {
  Finished,
  FirstOfRecording,  // announces that fragments follow
};

// What a `moov` is made of. Everything pointed to must outlive the call.
struct MoovParts {
  MoovKind kind = MoovKind::Finished;
  const Mp4VideoTrack* video = nullptr;
  const VideoConfiguration* configuration = nullptr;
  TrackTable* video_table = nullptr;
  std::vector<SoundEntry> sound;
  std::optional<WebcamEntry> webcam;
  std::span<const Mp4Marker> markers;
  std::span<const Mp4GameEvent> events;
  uint64_t clip_start_ns = 0;
  uint64_t clip_end_ns = 0;
  const Mp4Presses* presses = nullptr;  // null: none
  std::string_view captions;
};

struct MoovResult {
  // False when there is no webcam or nothing of it lies within the video.
  bool has_webcam = false;
};

// Appends the `moov` to `out` and leaves in every chunk of the tables in use
// where its co64 entry lies in `out`.
MoovResult BuildMoov(const MoovParts& parts, std::vector<uint8_t>& out);

// Writes the offsets of all chunks that got into `moov`, where BuildMoov put it.
void PatchChunkOffsets(const MoovParts& parts, const MoovResult& built, std::vector<uint8_t>& moov);

// Appends the `ftyp` that goes before it.
void BuildFtyp(uint32_t video_sample_entry, std::vector<uint8_t>& out);

}  // namespace orventa
