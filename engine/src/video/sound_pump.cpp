#include "video/sound_pump.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/clock.h"
#include "base/log.h"
#include "base/rescale.h"
#include "sound/app_audio_capture.h"
#include "sound/sample_math.h"

namespace orventa {
namespace {

constexpr uint32_t kMadeUpAtOnce = 48;  // packets, about a second
constexpr std::array<int16_t, size_t{2}* kAacFrames> kSilence = {};

// A failed read adds nothing: the capture gives what is missing with the next one.
void ReadMore(IAudioCapture& capture, uint64_t until_ns, std::vector<int16_t>& out) {
  const size_t before = out.size();
  if (!capture.Read(until_ns, out).ok()) out.resize(before);
}

}  // namespace

SoundPump::SoundPump(SoundChain chain, SoundLevels& levels)
    : chain_(std::move(chain)), levels_(levels) {
  for (SoundTrack& parts : chain_.tracks) {
    split_ = split_ || parts.from_microphone;
    tracks_.emplace_back().parts = std::move(parts);
  }
  chain_.tracks.clear();
  SetUpLive();
}

std::vector<Mp4AudioTrack> SoundPump::Formats() const {
  std::vector<Mp4AudioTrack> formats;
  for (const Track& track : tracks_) formats.push_back(DescribeTrack(track.parts));
  return formats;
}

std::string SoundPump::MicrophoneTrouble() const {
  if (!chain_.layout.settings.microphone) return {};
  return chain_.microphone != nullptr ? chain_.microphone->Trouble() : "failed";
}

std::vector<DeviceStint> SoundPump::SystemTrail() const {
  return chain_.system != nullptr ? chain_.system->Trail() : std::vector<DeviceStint>();
}

void SoundPump::SetHistories(const std::vector<std::shared_ptr<AudioReplayBuffer>>& histories) {
  for (size_t i = 0; i < tracks_.size() && i < histories.size(); ++i) {
    tracks_[i].history = histories[i];
  }
}

void SoundPump::FillGaps(ISoundSources& sources, uint64_t until_pts) {
  const AacEncoderFactory make = [&](const AacSettings& settings,
                                     std::unique_ptr<IAacEncoder>& out) {
    return sources.MakeAacEncoder(settings, out);
  };
  for (const Track& track : tracks_) {
    const SoundFormat format = track.parts.format;
    const uint64_t half_ns = Rescale(kAacFrames / 2, format.sample_rate, kNsPerSecond);
    const uint64_t end_pts = track.history->EndTime();
    if (end_pts == 0 || until_pts <= end_pts + half_ns) continue;
    std::vector<uint8_t> silence;
    const Status status = MakeSilentAacPacket(
        make, {format.sample_rate, format.channels, track.parts.bitrate_bps}, silence);
    if (!status.ok()) {
      LogWarning("sound: a gap stays without silence: %s", status.ToString().c_str());
      continue;
    }
    track.history->FillGap(until_pts, Payload::Copy(silence), format.sample_rate);
  }
}

void SoundPump::Begin(uint64_t origin_ns, uint64_t base_pts) {
  origin_ns_ = origin_ns;
  base_pts_ = base_pts;
  for (const auto* capture : {&chain_.system, &chain_.microphone, &chain_.silence}) {
    if (*capture != nullptr) (*capture)->SetOrigin(origin_ns, 0);
  }
}

bool SoundPump::Apply(const Config& config) {
  SoundLayout& layout = chain_.layout;
  if (!SameButForLive(layout.settings, config.audio)) return false;
  if (layout.voice_wanted != WantsVoiceTrack(config)) return false;
  if (chain_.app != nullptr && layout.settings.apps != config.audio.apps) {
    chain_.app->SetApps(config.audio.apps);
  }
  layout.settings = config.audio;
  SetUpLive();
  return true;
}

void SoundPump::SetUpLive() {
  const Config::Audio& audio = chain_.layout.settings;
  system_volume_ = static_cast<float>(audio.system_volume) / 100;
  microphone_volume_ = static_cast<float>(audio.microphone_volume) / 100;
  centre_ = audio.microphone_mono;
  gate_.SetUp(audio.push_to_talk, audio.microphone_gate, audio.microphone_threshold_db,
              chain_.microphone != nullptr ? chain_.microphone->Format().sample_rate : 0);
}

void SoundPump::Pump(uint64_t now_ns, uint64_t until_ns, bool key_held) {
  if (tracks_.empty()) return;
  const bool held = KeyHeldAt(now_ns, until_ns, key_held);
  EngineLevels peaks;
  peaks.system = ReadSystem(until_ns);
  peaks.microphone = ReadMicrophone(until_ns, held);
  peaks.microphone_open = chain_.microphone != nullptr && gate_.last_open();
  levels_.Note(peaks);
  if (!split_ && chain_.system != nullptr) AddSamples(microphone_, system_);
  for (size_t i = 0; i < tracks_.size(); ++i) {
    Encode(tracks_[i], SamplesOf(tracks_[i].parts));
    Collect(i);
  }
}

// The sound that is read now was heard a while ago; so is the key looked at as it
// was then.
bool SoundPump::KeyHeldAt(uint64_t now_ns, uint64_t until_ns, bool key_held) {
  if (key_changes_.empty() || key_changes_.back().held != key_held) {
    key_changes_.push_back({now_ns, key_held});
  }
  while (key_changes_.size() > 1 && key_changes_[1].at_ns <= until_ns) {
    (void)key_changes_.take_front();
  }
  return key_changes_.front().held;
}

float SoundPump::ReadSystem(uint64_t until_ns) {
  system_.clear();
  if (chain_.system == nullptr) return 0;
  ReadMore(*chain_.system, until_ns, system_);
  if (system_volume_ != 1) ScaleSamples(system_, system_volume_, system_);
  return PeakOf(system_);
}

float SoundPump::ReadMicrophone(uint64_t until_ns, bool key_held) {
  microphone_.clear();
  if (chain_.microphone == nullptr) {
    if (chain_.silence != nullptr) ReadMore(*chain_.silence, until_ns, microphone_);
    return 0;
  }
  ReadMore(*chain_.microphone, until_ns, pending_);
  const size_t samples = UsableMicrophone();
  ApplyVolume(samples);
  const std::span<const int16_t> raw(pending_.data(), samples);
  gate_.SetHeld(key_held);
  gate_.Run(raw, microphone_);
  const float peak = PeakOf(raw);
  pending_.erase(pending_.begin(), pending_.begin() + static_cast<ptrdiff_t>(samples));
  CutBacklog();
  return peak;
}

// What is mixed goes in step with the system's sound; the rest waits for its turn.
size_t SoundPump::UsableMicrophone() const {
  const bool all = split_ || chain_.system == nullptr;
  const size_t samples = all ? pending_.size() : std::min(system_.size(), pending_.size());
  return samples / 2 * 2;
}

void SoundPump::ApplyVolume(size_t samples) {
  microphone_.resize(samples);
  const std::span<const int16_t> raw = std::span(pending_).first(samples);
  centre_ ? ScaleMiddle(raw, microphone_volume_, microphone_)
          : ScaleSamples(raw, microphone_volume_, microphone_);
}

void SoundPump::CutBacklog() {
  const SoundFormat format = chain_.microphone->Format();
  const size_t most = size_t{format.sample_rate} * format.channels;
  if (pending_.size() <= most) return;
  pending_.erase(pending_.begin(), pending_.end() - static_cast<ptrdiff_t>(most));
  levels_.CountDrop();
}

std::span<const int16_t> SoundPump::SamplesOf(const SoundTrack& track) {
  if (track.mono) return MonoVoice();
  return track.from_microphone ? microphone_ : system_;
}

std::span<const int16_t> SoundPump::MonoVoice() {
  mono_.assign(system_.size() / 2, 0);
  const size_t spoken = std::min(mono_.size(), microphone_.size() / 2);
  AverageFrames(microphone_, std::span(mono_).first(spoken));
  return mono_;
}

// A track's position moves on with every sample that should exist, so that what
// comes after a refusal still lies where it belongs.
void SoundPump::Encode(Track& track, std::span<const int16_t> samples) {
  const uint64_t frames = samples.size() / track.parts.format.channels;
  if (frames == 0) return;
  const uint64_t position = track.frames_written;
  track.frames_written += frames;
  MakeUp(track, position);
  if (track.frames_owed > 0) {
    track.frames_owed += frames;
    return;
  }
  const Status status = track.parts.encoder->Encode(samples, PtsOf(track, position));
  if (status.ok()) return;
  track.frames_owed += frames;
  Refused(track, status);
}

void SoundPump::MakeUp(Track& track, uint64_t position) {
  for (uint32_t i = 0; i < kMadeUpAtOnce && track.frames_owed > 0; ++i) {
    const uint64_t frames = std::min<uint64_t>(track.frames_owed, kAacFrames);
    const Status status =
        track.parts.encoder->Encode(std::span(kSilence).first(frames * track.parts.format.channels),
                                    PtsOf(track, position - track.frames_owed));
    if (!status.ok()) return Refused(track, status);
    track.frames_owed -= frames;
  }
}

void SoundPump::Refused(Track& track, const Status& status) {
  if (std::exchange(track.told, true)) return;
  LogWarning("sound: an encoder refused sound, silence takes its place: %s",
             status.ToString().c_str());
}

void SoundPump::Collect(size_t index) {
  Track& track = tracks_[index];
  const uint32_t rate = track.parts.format.sample_rate;
  Status status;
  while (track.parts.encoder->Next(packet_, status)) {
    const auto pts = static_cast<int64_t>(packet_.pts);
    EncodedPacket packet{Payload::Copy(packet_.bytes), pts, pts, true};
    if (tap_ != nullptr) tap_->Take(index, packet, Rescale(packet_.frames, rate, kNsPerSecond));
    if (track.history != nullptr) track.history->Append(std::move(packet));
  }
  if (!status.ok()) Refused(track, status);
}

uint64_t SoundPump::WholePacketsUntil(uint64_t pts) const {
  const uint64_t span_ns = pts > base_pts_ ? pts - base_pts_ : 0;
  uint64_t until_ns = 0;
  for (const Track& track : tracks_) {
    const uint32_t rate = track.parts.format.sample_rate;
    const uint64_t wanted = std::max(track.frames_written, FramesBefore(0, span_ns, rate));
    const uint64_t whole = (wanted + kAacFrames - 1) / kAacFrames * kAacFrames;
    // Rounded down, or one more frame would count as earlier.
    const uint64_t whole_ns = whole / rate * kNsPerSecond + whole % rate * kNsPerSecond / rate;
    until_ns = std::max(until_ns, origin_ns_ + whole_ns);
  }
  return until_ns;
}

void SoundPump::Flush() {
  for (size_t i = 0; i < tracks_.size(); ++i) {
    if (const Status status = tracks_[i].parts.encoder->Flush(); !status.ok()) {
      Refused(tracks_[i], status);
    }
    Collect(i);
  }
  pending_.clear();
}

uint64_t SoundPump::EndPts() const {
  return tracks_.empty() ? 0 : PtsOf(tracks_.front(), tracks_.front().frames_written);
}

uint64_t SoundPump::PtsOf(const Track& track, uint64_t frames) const {
  return base_pts_ + Rescale(frames, track.parts.format.sample_rate, kNsPerSecond);
}

}  // namespace orventa
