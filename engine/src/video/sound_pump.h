// Carries the sound of one pipeline from its captures through mixing and the
// microphone's gate to an encoder a track, and the packets into the histories. Every
// sample has its place on the session timeline, whatever a source or an encoder
// drops on the way. Engine thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/ring.h"
#include "media/packet.h"
#include "settings/config.h"
#include "sound/gate.h"
#include "video/audio_replay_buffer.h"
#include "video/sound_chain.h"
#include "video/sound_levels.h"

namespace orventa {

// Who else wants the packets of the sound tracks, beside their histories.
class ISoundTap {
 public:
  virtual ~ISoundTap() = default;
  // `track` counts from 0; the packet lasts `duration_ns`.
  virtual void Take(size_t track, const EncodedPacket& packet, uint64_t duration_ns) = 0;
};

class SoundPump {
 public:
  // `levels` must outlive the pump.
  SoundPump(SoundChain chain, SoundLevels& levels);

  bool HasTracks() const { return !tracks_.empty(); }
  std::vector<Mp4AudioTrack> Formats() const;
  // In force by now.
  const SoundLayout& layout() const { return chain_.layout; }
  bool HasMicrophone() const { return chain_.microphone != nullptr; }
  std::string MicrophoneTrouble() const;
  // The devices that the system's sound came from.
  std::vector<DeviceStint> SystemTrail() const;

  // Before Begin: where the packets go, a history for each track.
  void SetHistories(const std::vector<std::shared_ptr<AudioReplayBuffer>>& histories);
  // Silence in the histories from where the last pipeline's sound ended to where this
  // one's begins.
  void FillGaps(ISoundSources& sources, uint64_t until_pts);
  // Null: nobody. Must outlive its use.
  void SetTap(ISoundTap* tap) { tap_ = tap; }

  // The sample at `origin_ns` of the steady clock lies at `base_pts`.
  void Begin(uint64_t origin_ns, uint64_t base_pts);
  // Takes over what can be while the chain runs. False: it has to be built anew.
  bool Apply(const Config& config);

  // Takes the sound from before `until_ns` of the steady clock; `now_ns` is when the
  // talk key is seen as `key_held`.
  void Pump(uint64_t now_ns, uint64_t until_ns, bool key_held);

  // The steady time up to which the sound has to be pumped to cover the timeline up
  // to `pts`, with whole packets in every track.
  uint64_t WholePacketsUntil(uint64_t pts) const;
  // Takes what is still inside the encoders. Nothing can be pumped after that.
  void Flush();
  // Where the first track ends on the session timeline.
  uint64_t EndPts() const;

 private:
  struct Track {
    SoundTrack parts;
    std::shared_ptr<AudioReplayBuffer> history;
    uint64_t frames_written = 0;
    uint64_t frames_owed = 0;  // refused by the encoder, made up for in silence
    bool told = false;         // the log knows that it refused
  };

  void SetUpLive();
  bool KeyHeldAt(uint64_t now_ns, uint64_t until_ns, bool key_held);
  float ReadSystem(uint64_t until_ns);
  float ReadMicrophone(uint64_t until_ns, bool key_held);
  size_t UsableMicrophone() const;
  void ApplyVolume(size_t samples);
  void CutBacklog();
  std::span<const int16_t> SamplesOf(const SoundTrack& track);
  std::span<const int16_t> MonoVoice();
  void Encode(Track& track, std::span<const int16_t> samples);
  void MakeUp(Track& track, uint64_t position);
  void Refused(Track& track, const Status& status);
  void Collect(size_t index);
  uint64_t PtsOf(const Track& track, uint64_t frames) const;

  SoundChain chain_;
  SoundLevels& levels_;
  std::vector<Track> tracks_;
  bool split_ = false;
  ISoundTap* tap_ = nullptr;

  uint64_t origin_ns_ = 0;
  uint64_t base_pts_ = 0;

  float system_volume_ = 1;
  float microphone_volume_ = 1;
  bool centre_ = false;
  MicrophoneGate gate_;

  struct KeyChange {
    uint64_t at_ns = 0;
    bool held = false;
  };
  Ring<KeyChange> key_changes_;  // those that lie ahead of the sound, and the one in force

  // Interleaved; their memory is used again and again.
  std::vector<int16_t> system_;
  std::vector<int16_t> pending_;     // read from the microphone and not used yet
  std::vector<int16_t> microphone_;  // as it is mixed or encoded
  std::vector<int16_t> mono_;
  AacPacket packet_;
};

}  // namespace orventa
