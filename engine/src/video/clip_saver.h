// Saving a span of the history as a finished MP4 while capture goes on. Works on
// a copy of what the engine knows and on shared histories; takes no lock of the
// engine. Save thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "base/files.h"
#include "base/status.h"
#include "mp4/movie.h"
#include "settings/config.h"
#include "video/audio_replay_buffer.h"
#include "video/replay_buffer.h"
#include "video/timeline_notes.h"

namespace orventa {

// One sound track of the session: its format and its history.
struct SoundHistory {
  Mp4AudioTrack format;
  std::shared_ptr<AudioReplayBuffer> packets;
};

// The light levels of a span, (content, frame average); zeros when unknown.
using LightLevels = std::function<std::pair<uint16_t, uint16_t>(uint64_t from, uint64_t to)>;
// The presses of a span, sealed; empty when none are kept.
using PressSpan = std::function<Mp4Presses(uint64_t from, uint64_t to)>;
// Whether the camera's stream still has this sequence header. A camera that was
// started anew may have filled its history with a stream that another header opens.
using WebcamHeaderCheck = std::function<bool(const std::vector<uint8_t>& header)>;

// Everything a save needs, copied under the engine's locks.
struct ClipSources {
  bool no_encoder = false;
  Config config;
  uint32_t seconds = 0;                   // at least 1
  Mp4VideoTrack video;                    // empty sequence header: nothing was ever encoded
  std::shared_ptr<ReplayBuffer> history;  // null: the engine is not running
  std::vector<SoundHistory> sound;
  std::shared_ptr<const Mp4WebcamTrack> webcam;  // null: none
  std::shared_ptr<ReplayBuffer> webcam_history;
  WebcamHeaderCheck webcam_header_in_force;  // may be empty: it is
  TimelineNotes notes;
  std::string target_name;  // as in the status record
  std::string target_title;
  bool target_is_window = false;
  LightLevels light_levels;  // may be empty
  PressSpan presses;         // may be empty
};

struct SavedClip {
  std::string path;
  std::string folder;    // the folder of its kind
  std::string fallback;  // why it went elsewhere; empty when it did not
  std::string name;      // the game it is named after
  int64_t wall_ms = 0;   // when the clip ends
};

// Which target a clip is named after and the moment on the timeline that dates it.
struct ClipNaming {
  std::string name;
  std::string title;
  uint64_t moment = 0;
};
// The longest stretch on screen wins, any stretch of a window before any of a
// display; a display is called "Monitor". No name when files go into no folder of
// their game.
ClipNaming NameClip(const ClipSources& sources, uint64_t first_pts, uint64_t end_pts);

// The clip is written beside its final name and moved into place when it is whole.
// Waits up to 250 ms for the sound to catch up with the picture.
Status SaveClip(const ClipSources& sources, const KnownFolders& folders, IClock& clock,
                SavedClip& saved);

}  // namespace orventa
