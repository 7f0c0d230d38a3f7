#include "sound/sound_linux/pulse_process_capture.h"

#include <algorithm>
#include <utility>

#include "base/text.h"

namespace orventa {
namespace {

constexpr uint32_t kRate = 48000;
// Sound may be queued that is heard after its stream has been closed.
constexpr uint64_t kVoiceEndNs = kNsPerSecond;

}  // namespace

PulseProcessListener::PulseProcessListener(IClock& clock, PulseServer& server, uint32_t pid,
                                           uint32_t rate, std::unique_ptr<IProcessTable> processes)
    : clock_(clock), server_(server), pid_(pid), rate_(rate), processes_(std::move(processes)) {}

void PulseProcessListener::TakeVoices(std::vector<std::shared_ptr<PulseVoice>>& voices) {
  const MutexLock lock(mutex_);
  for (auto& voice : added_) voices.push_back(std::move(voice));
  added_.clear();
}

// What a process plays is heard from its first stream on; until then the connection
// is all that is open.
DeviceResult PulseProcessListener::Open(const std::string&, std::string& name) {
  if (!server_.IsReady()) {
    return {Status(StatusCode::BackendUnavailable, "no sound server"), SoundTrouble::NotFound};
  }
  const PulseState& state = server_.state();
  const PulseDevice* const output = FindPulseDevice(state.outputs, state.default_output);
  name = output == nullptr ? std::string() : output->name;
  return {};
}

DeviceResult PulseProcessListener::Start() {
  Serve(true);
  return {};
}

void PulseProcessListener::Close() {
  for (Player& player : players_) End(player);
  players_.clear();
}

bool PulseProcessListener::Serve(bool news) {
  if (!server_.IsReady()) return false;
  const std::vector<PulsePlayer>& playing = server_.state().players;
  // A stream that is moved to another output ends here as well, and the server then
  // tells of the move.
  std::erase_if(players_, [&](Player& player) {
    const auto same = [&](const PulsePlayer& one) { return one.index == player.index; };
    const bool plays = !news || std::any_of(playing.begin(), playing.end(), same);
    if (plays && player.stream->IsGood()) return false;
    End(player);
    return true;
  });
  if (!news) return true;
  for (const PulsePlayer& player : playing) {
    if (!IsFollowed(player) && IsOurs(player.pid)) Follow(player);
  }
  return true;
}

bool PulseProcessListener::IsFollowed(const PulsePlayer& player) const {
  return std::any_of(players_.begin(), players_.end(),
                     [&](const Player& one) { return one.index == player.index; });
}

bool PulseProcessListener::IsOurs(uint32_t pid) {
  return pid == pid_ || (pid != 0 && IsAncestor(*processes_, pid_, pid));
}

void PulseProcessListener::Follow(const PulsePlayer& player) {
  Player one;
  one.index = player.index;
  one.voice = std::make_shared<PulseVoice>(rate_);
  one.stream = std::make_unique<PulseStream>(clock_, server_, one.voice->queue);
  PulseStreamTarget target;
  target.player = player.index;
  target.spec.rate = rate_;
  pa_channel_map_init_stereo(&target.map);
  target.at_once = true;
  target.purpose = "what one program plays";
  // One that cannot be opened is asked for again when the server tells of a change.
  if (!one.stream->Open(target)) return;
  {
    const MutexLock lock(mutex_);
    added_.push_back(one.voice);
  }
  players_.push_back(std::move(one));
}

void PulseProcessListener::End(Player& player) {
  player.stream.reset();
  player.voice->end_ns = clock_.SteadyNs();
}

PulseProcessCapture::PulseProcessCapture(IClock& clock, uint32_t pid,
                                         std::unique_ptr<IProcessTable> processes)
    : server_(clock),
      listener_(clock, server_, pid, kRate, std::move(processes)),
      thread_(clock, server_, listener_, Following::Nothing, "",
              orventa::Format("process %u", pid)) {}

Status PulseProcessCapture::Start() {
  thread_.Start();
  return Status::Ok();
}

SoundFormat PulseProcessCapture::Format() const {
  return {kRate, 2};
}

void PulseProcessCapture::SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) {
  has_origin_ = true;
  origin_ns_ = origin_ns;
  delivered_ = frames_delivered;
  for (const auto& voice : voices_) voice->sound.SetOrigin(origin_ns, frames_delivered);
}

Status PulseProcessCapture::Read(uint64_t until_ns, std::vector<int16_t>& out) {
  if (!has_origin_) return Status::Ok();
  const size_t known = voices_.size();
  listener_.TakeVoices(voices_);
  for (size_t i = known; i < voices_.size(); ++i) {
    voices_[i]->sound.SetOrigin(origin_ns_, delivered_);
  }
  const uint64_t target = FramesBefore(origin_ns_, until_ns, kRate);
  if (target <= delivered_) return Status::Ok();
  const size_t begin = out.size();
  out.resize(begin + 2 * static_cast<size_t>(target - delivered_));
  delivered_ = target;
  for (const auto& voice : voices_) {
    scratch_.clear();
    if (Status status = voice->sound.Read(until_ns, scratch_); !status.ok()) return status;
    const size_t count = std::min(scratch_.size(), out.size() - begin);
    for (size_t i = 0; i < count; ++i) {
      out[begin + i] =
          static_cast<int16_t>(std::clamp(out[begin + i] + scratch_[i], -32768, 32767));
    }
  }
  std::erase_if(voices_, [until_ns](const std::shared_ptr<PulseVoice>& voice) {
    const uint64_t end_ns = voice->end_ns;
    return end_ns != 0 && until_ns > end_ns + kVoiceEndNs;
  });
  return Status::Ok();
}

}  // namespace orventa
