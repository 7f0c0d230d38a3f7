// What goes into a clip, settled before the first byte is written: which packets
// become samples, how long and how large they are, where each track starts, and
// the order of the chunks in the file. Used by WriteMp4 alone, on its thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "base/status.h"
#include "mp4/configuration.h"
#include "mp4/movie.h"
#include "mp4/track_table.h"

namespace orventa {

struct PlannedSample {
  // Not known, or the sample has several units: the packet is scanned again.
  static constexpr uint32_t kScan = UINT32_MAX;

  uint32_t packet = 0;  // in the track's list
  // Of a sample that is made of one unit: where this begins in the payload.
  uint32_t unit_position = kScan;
  Payload held;  // a payload that was read from the disk and is kept; else none
};

struct PlannedTrack {
  const std::vector<BufferedPacket>* packets = nullptr;
  Mp4Codec codec = Mp4Codec::H264;
  bool converts = false;  // Annex B to length-prefixed
  TrackTable table;
  std::vector<PlannedSample> samples;  // as many as the table has
  uint64_t first_pts_ns = 0;           // of the first sample
  uint64_t last_pts_ns = 0;
  uint64_t cut = 0;  // in the table's timescale
  uint64_t delay_ns = 0;
};

struct PlannedSound {
  const Mp4AudioTrack* format = nullptr;
  PlannedTrack track;
};

struct PlannedWebcam {
  VideoConfiguration configuration;
  PlannedTrack track;
};

struct ClipPlan {
  VideoConfiguration configuration;
  PlannedTrack video;
  std::vector<PlannedSound> sound;
  std::optional<PlannedWebcam> webcam;
};

// The movie must outlive the plan. All tables come cut into chunks.
Status PlanClip(const Mp4Movie& movie, ClipPlan& plan);

struct PlannedChunk {
  PlannedTrack* track = nullptr;
  size_t index = 0;
};

// Tracks interleaved chunk by chunk, so that a player reads on without seeking.
std::vector<PlannedChunk> WriteOrder(ClipPlan& plan);

}  // namespace orventa
