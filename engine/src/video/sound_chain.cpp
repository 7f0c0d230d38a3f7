#include "video/sound_chain.h"

#include <utility>

#include "base/instance.h"
#include "base/log.h"
#include "sound/app_audio_capture.h"
#include "sound/silent_capture.h"

namespace orventa {
namespace {

constexpr uint32_t kVoiceBitrateBps = 96'000;

class ChainBuilder {
 public:
  ChainBuilder(IClock& clock, ISoundSources& sources, const Config& config,
               const FoundTarget& target, const std::optional<SoundLayout>& former)
      : clock_(clock), sources_(sources), config_(config), target_(target) {
    const bool voice = WantsVoiceTrack(config);
    if (former && former->voice_wanted == voice && SameButForLive(former->settings, config.audio)) {
      kept_ = &*former;
    }
    NoteWishes();
    split_wanted_ = kept_ != nullptr ? kept_->split : config.audio.separate_tracks;
    voice_wanted_ = kept_ != nullptr ? kept_->voice : voice;
  }

  SoundChain Build() {
    if (config_.audio.enabled) OpenSystem();
    if (config_.audio.microphone) OpenMicrophone();
    LayOut();
    OpenEncoders();
    return std::move(chain_);
  }

 private:
  using Capture = std::unique_ptr<IAudioCapture>;

  void NoteWishes() {
    chain_.layout.settings = config_.audio;
    chain_.layout.voice_wanted = WantsVoiceTrack(config_);
  }

  // What went wrong with a source costs the source and no more.
  static bool Check(const Status& status, const char* what) {
    if (!status.ok()) LogWarning("sound: no %s: %s", what, status.ToString().c_str());
    return status.ok();
  }

  void OpenSystem() {
    Capture capture = MakeSystem();
    if (capture != nullptr && Check(capture->Start(), "system sound")) {
      chain_.system = std::move(capture);
    } else {
      chain_.app = nullptr;
      if (kept_ != nullptr && kept_->system) {
        chain_.system = std::make_unique<SilentCapture>(*kept_->system);
        (void)chain_.system->Start();  // silence always starts
      }
    }
    if (chain_.system != nullptr) chain_.layout.system = chain_.system->Format();
  }

  Capture MakeSystem() {
    const Config::Audio& audio = config_.audio;
    if (audio.capture_from_app && target_.IsWindow()) {
      if (Capture app = MakeApp()) return app;
    }
    Capture capture;
    // The service's own sounds belong into no recording.
    if (audio.output_device.empty() &&
        Check(sources_.MakeProcessCapture(CurrentProcessId(), ProcessTree::Except, capture),
              "capture of all but this program")) {
      return capture;
    }
    // Another device's own rate would end the histories.
    const uint32_t rate = kept_ != nullptr && kept_->system ? kept_->system->sample_rate : 0;
    (void)Check(sources_.MakeOutputCapture(audio.output_device, rate, capture), "system sound");
    return capture;
  }

  Capture MakeApp() {
    Capture game;
    if (target_.pid == 0 ||
        !Check(sources_.MakeProcessCapture(target_.pid, ProcessTree::Only, game),
               "capture of the game alone")) {
      return nullptr;
    }
    auto app = std::make_unique<AppAudioCapture>(clock_, sources_, MakeProcessTable(),
                                                 std::move(game), target_.pid, config_.audio.apps);
    chain_.app = app.get();
    return app;
  }

  void OpenMicrophone() {
    const IAudioCapture* system = chain_.system.get();
    const uint32_t rate = system != nullptr ? system->Format().sample_rate : 0;
    Capture capture;
    if (!Check(sources_.MakeMicrophoneCapture(config_.audio.microphone_device, rate, capture),
               "microphone")) {
      return;
    }
    if (system != nullptr && !split_wanted_ && capture->Format() != system->Format()) {
      LogWarning("sound: no microphone: its format does not mix with the system's");
      return;
    }
    if (Check(capture->Start(), "microphone")) chain_.microphone = std::move(capture);
  }

  void LayOut() {
    const uint32_t bitrate = config_.audio.bitrate_bps;
    const bool kept_split = kept_ != nullptr && kept_->split;
    if (chain_.system == nullptr) {
      if (chain_.microphone != nullptr) Add(chain_.microphone->Format(), bitrate, true);
      return;
    }
    const SoundFormat format = chain_.system->Format();
    Add(format, bitrate, false);
    if (split_wanted_ && (chain_.microphone != nullptr || kept_split)) {
      if (chain_.microphone == nullptr) {
        chain_.silence = std::make_unique<SilentCapture>(format);
        (void)chain_.silence->Start();  // silence always starts
      }
      Add(chain_.microphone != nullptr ? chain_.microphone->Format() : format, bitrate, true);
      chain_.layout.split = true;
    } else if (voice_wanted_) {
      Add({format.sample_rate, 1}, kVoiceBitrateBps, false);
      chain_.tracks.back().mono = true;
      chain_.layout.voice = true;
    }
  }

  void Add(SoundFormat format, uint32_t bitrate_bps, bool from_microphone) {
    SoundTrack& track = chain_.tracks.emplace_back();
    track.format = format;
    track.bitrate_bps = bitrate_bps;
    track.from_microphone = from_microphone;
  }

  void OpenEncoders() {
    std::erase_if(chain_.tracks, [&](SoundTrack& track) {
      const AacSettings settings{track.format.sample_rate, track.format.channels,
                                 track.bitrate_bps};
      return !Check(sources_.MakeAacEncoder(settings, track.encoder), "sound track");
    });
    if (!chain_.tracks.empty()) return;
    chain_ = {};
    NoteWishes();
  }

  IClock& clock_;
  ISoundSources& sources_;
  const Config& config_;
  const FoundTarget& target_;
  const SoundLayout* kept_ = nullptr;
  bool split_wanted_ = false;
  bool voice_wanted_ = false;
  SoundChain chain_;
};

}  // namespace

SoundChain OpenSoundChain(IClock& clock, ISoundSources& sources, const Config& config,
                          const FoundTarget& target, const std::optional<SoundLayout>& former) {
  return ChainBuilder(clock, sources, config, target, former).Build();
}

Mp4AudioTrack DescribeTrack(const SoundTrack& track) {
  const std::span<const uint8_t> config = track.encoder->Config();
  return {.sample_rate = track.format.sample_rate,
          .channels = track.format.channels,
          .config = {config.begin(), config.end()},
          .voice = track.mono};
}

bool WantsVoiceTrack(const Config& config) {
  return config.audio.microphone && config.captions.enabled &&
         config.captions.from == CaptionsSource::Voice;
}

bool SameButForLive(const Config::Audio& a, const Config::Audio& b) {
  Config::Audio other = b;
  other.microphone_volume = a.microphone_volume;
  other.system_volume = a.system_volume;
  other.microphone_mono = a.microphone_mono;
  other.push_to_talk = a.push_to_talk;
  other.microphone_gate = a.microphone_gate;
  other.microphone_threshold_db = a.microphone_threshold_db;
  other.apps = a.apps;
  return a == other;
}

}  // namespace orventa
