// What the sound of one pipeline is made of: which sources there are and which
// tracks they feed. A source or a track that cannot be had is left out; a pipeline
// without any sound is fine. Engine thread.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "base/clock.h"
#include "mp4/movie.h"
#include "settings/config.h"
#include "sound/aac.h"
#include "sound/capture.h"
#include "sound/sound_sources.h"
#include "video/targets.h"

namespace orventa {

class AppAudioCapture;

struct SoundTrack {
  std::unique_ptr<IAacEncoder> encoder;
  SoundFormat format;
  uint32_t bitrate_bps = 0;      // as asked of the encoder
  bool from_microphone = false;  // else from the mix
  bool mono = false;             // the voice: a copy of the microphone in one channel
};

// How a pipeline's sound was laid out. The next one keeps to it while the settings
// stay, so that the histories of its tracks go on whatever source comes or goes.
struct SoundLayout {
  Config::Audio settings;
  bool voice_wanted = false;          // by the settings
  bool split = false;                 // the microphone has a track of its own
  bool voice = false;                 // a voice track was kept
  std::optional<SoundFormat> system;  // of the machine's sound, if there was any
};

struct SoundChain {
  std::unique_ptr<IAudioCapture> system;
  AppAudioCapture* app = nullptr;  // the same, when it is of one application
  std::unique_ptr<IAudioCapture> microphone;
  // On a track of its own, in place of a microphone that is not there.
  std::unique_ptr<IAudioCapture> silence;
  std::vector<SoundTrack> tracks;  // none: no sound, and no captures either
  SoundLayout layout;
};

// `former`: the layout of the pipeline before, if it had any tracks.
SoundChain OpenSoundChain(IClock& clock, ISoundSources& sources, const Config& config,
                          const FoundTarget& target, const std::optional<SoundLayout>& former);

// As the histories and the files know a track.
Mp4AudioTrack DescribeTrack(const SoundTrack& track);

// Whether captions listen to the voice alone, which keeps it on a track.
bool WantsVoiceTrack(const Config& config);

// Whether sound settings differ in nothing but what a running chain takes over:
// volumes, centre, gate, push to talk and the game's companions.
bool SameButForLive(const Config::Audio& a, const Config::Audio& b);

}  // namespace orventa
