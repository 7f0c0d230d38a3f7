#include "sound/device_follower.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/log.h"

namespace orventa {
namespace {

constexpr uint64_t kBackOffNs = 500 * kNsPerMs;
constexpr uint32_t kMostDoublings = 4;
// An output that a process capture follows is only asked for now and then: the flag
// tells of changes, this catches one that was not told.
constexpr uint64_t kOutputLookNs = 10 * kNsPerSecond;

}  // namespace

std::string_view SoundTroubleWord(SoundTrouble trouble) {
  static constexpr std::array<std::string_view, 5> kWords = {"", "denied", "busy", "not_found",
                                                             "failed"};
  return kWords[static_cast<size_t>(trouble)];
}

DeviceFollower::DeviceFollower(IClock& clock, ISoundDevice& device, Following following,
                               std::string chosen, std::string what)
    : clock_(clock),
      device_(device),
      following_(following),
      chosen_(std::move(chosen)),
      what_(std::move(what)) {}

void DeviceFollower::SetRunning(bool running) {
  running_ = running;
  next_look_ns_ = 0;
}

void DeviceFollower::Check() {
  if (!IsDue()) return;
  const uint64_t now_ns = clock_.SteadyNs();
  if (following_ == Following::Device) {
    CheckDevice();
  } else if (running_) {
    CheckProcess();
  }
  const bool steady = following_ != Following::Device && open_;
  next_look_ns_ =
      now_ns + (steady ? kOutputLookNs : kBackOffNs << std::min(failures_, kMostDoublings));
}

bool DeviceFollower::IsDue() {
  const bool news = news_.exchange(false, std::memory_order_acq_rel);
  if (clock_.SteadyNs() >= next_look_ns_) return true;
  return news && !IsStillFailed();
}

// News of other devices do not make one work that has just failed.
bool DeviceFollower::IsStillFailed() {
  return failed_id_.has_value() && WantedId() == *failed_id_;
}

std::string DeviceFollower::WantedId() {
  switch (following_) {
    case Following::Device:
      if (!chosen_.empty() && device_.IsActive(chosen_)) return chosen_;
      return device_.DefaultId();
    case Following::DefaultOutput: return device_.DefaultId();
    case Following::Nothing: break;
  }
  return {};
}

std::string_view DeviceFollower::ReasonWithoutDevice() const {
  if (failures_ > 0) return "retry";
  return was_open_ ? "lost" : "start";
}

void DeviceFollower::CheckDevice() {
  const std::string wanted = WantedId();
  if (wanted.empty()) {
    if (!open_) SetTrouble(SoundTrouble::NotFound);
    return;
  }
  if (!open_) return Open(wanted, ReasonWithoutDevice());
  if (wanted != open_id_) {
    return Open(wanted, wanted == chosen_ ? "chosen device" : "default changed");
  }
  if (!running_ || started_) return;
  if (const DeviceResult started = device_.Start(); !started.ok()) return FailAt(wanted, started);
  started_ = true;
}

void DeviceFollower::CheckProcess() {
  const std::string output = WantedId();
  if (!open_) return Open(output, ReasonWithoutDevice());
  // With no output at all there is nothing better to open.
  if (!output.empty() && output != open_id_) Open(output, "default changed");
}

void DeviceFollower::Open(const std::string& id, std::string_view reason) {
  Close();
  std::string name;
  DeviceResult result = device_.Open(id, name);
  const bool start = result.ok() && running_;
  if (start) result = device_.Start();
  if (!result.ok()) return FailAt(id, result);
  open_ = true;
  started_ = start;
  was_open_ = true;
  open_id_ = id;
  failures_ = 0;
  failed_id_.reset();
  told_ = false;
  SetTrouble(SoundTrouble::None);
  Remember(name, reason);
}

void DeviceFollower::FailAt(const std::string& id, const DeviceResult& result) {
  Close();
  SetTrouble(result.trouble == SoundTrouble::None ? SoundTrouble::Failed : result.trouble);
  // A single process is asked for again at the same pace, as long as it lives.
  if (following_ != Following::Nothing) {
    ++failures_;
    failed_id_ = id;
  }
  if (!told_) LogWarning("sound: %s: %s", what_.c_str(), result.status.message().c_str());
  told_ = true;
}

void DeviceFollower::Remember(const std::string& name, std::string_view reason) {
  DeviceStint stint;
  stint.device = name;
  stint.opened_wall_ms = clock_.WallMs();
  stint.reason = reason;
  LogInfo("sound: %s: %s (%s)", what_.c_str(), name.c_str(), stint.reason.c_str());
  const MutexLock lock(mutex_);
  stint.number = NextStintNumber();
  if (trail_.size() == kMaxDeviceStints) trail_.erase(trail_.begin());
  trail_.push_back(std::move(stint));
}

void DeviceFollower::Lose(SoundTrouble trouble) {
  Close();
  SetTrouble(trouble);
  next_look_ns_ = std::min(next_look_ns_, clock_.SteadyNs() + kBackOffNs);
}

void DeviceFollower::Close() {
  device_.Close();
  open_ = false;
  started_ = false;
  open_id_.clear();
}

std::vector<DeviceStint> DeviceFollower::Trail() const {
  const MutexLock lock(mutex_);
  return trail_;
}

std::string DeviceFollower::Trouble() const {
  const MutexLock lock(mutex_);
  return std::string(SoundTroubleWord(trouble_));
}

void DeviceFollower::SetTrouble(SoundTrouble trouble) {
  const MutexLock lock(mutex_);
  trouble_ = trouble;
}

}  // namespace orventa
