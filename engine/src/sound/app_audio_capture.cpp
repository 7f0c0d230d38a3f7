#include "sound/app_audio_capture.h"

#include <algorithm>
#include <utility>

#include "base/log.h"
#include "base/text.h"

namespace orventa {
namespace {

constexpr uint64_t kLookEveryNs = 3 * kNsPerSecond;

std::vector<std::string> NamesOf(const std::string& apps) {
  std::vector<std::string> names;
  for (const std::string_view part : Split(apps, ',')) {
    if (const std::string_view name = Trim(part); !name.empty()) names.push_back(ToLower(name));
  }
  return names;
}

template <class T>
bool Contains(const std::vector<T>& all, const T& one) {
  return std::find(all.begin(), all.end(), one) != all.end();
}

}  // namespace

AppAudioCapture::AppAudioCapture(IClock& clock, ISoundSources& sources,
                                 std::unique_ptr<IProcessTable> processes,
                                 std::unique_ptr<IAudioCapture> base, uint32_t game_pid,
                                 const std::string& apps)
    : clock_(clock),
      sources_(sources),
      processes_(std::move(processes)),
      base_(std::move(base)),
      game_pid_(game_pid),
      wake_(clock.MakeWaitPoint()),
      apps_(NamesOf(apps)) {}

AppAudioCapture::~AppAudioCapture() {
  Stop();
}

Status AppAudioCapture::Start() {
  if (helper_ != nullptr) return Status::Ok();
  if (Status status = base_->Start(); !status.ok()) return status;
  {
    const MutexLock lock(mutex_);
    stop_ = false;
    look_now_ = true;
  }
  helper_ = clock_.StartThread("app sound", ThreadPriority::Background, [this] { Help(); });
  return Status::Ok();
}

void AppAudioCapture::Stop() {
  if (helper_ != nullptr) {
    {
      const MutexLock lock(mutex_);
      stop_ = true;
    }
    wake_->NotifyAll();
    helper_->Join();
    helper_.reset();
  }
  base_->Stop();
  companions_.clear();
  heard_.clear();
  std::vector<Companion> added;
  std::vector<Companion> retired;
  const MutexLock lock(mutex_);
  added.swap(added_);
  retired.swap(retired_);
  removed_.clear();
  failed_.clear();
}

void AppAudioCapture::SetOrigin(uint64_t origin_ns, uint64_t frames_delivered) {
  has_origin_ = true;
  origin_ns_ = origin_ns;
  delivered_ = frames_delivered;
  base_->SetOrigin(origin_ns, frames_delivered);
  for (Companion& companion : companions_) {
    companion.capture->SetOrigin(origin_ns, frames_delivered);
    companion.pending.clear();
  }
}

void AppAudioCapture::SetApps(const std::string& apps) {
  {
    const MutexLock lock(mutex_);
    apps_ = NamesOf(apps);
    look_now_ = true;
  }
  wake_->NotifyAll();
}

void AppAudioCapture::Help() {
  uint64_t next_look_ns = 0;
  for (;;) {
    std::vector<std::string> apps;
    std::vector<Companion> retired;
    {
      const MutexLock lock(mutex_);
      while (!stop_ && !look_now_ && retired_.empty() && clock_.SteadyNs() < next_look_ns) {
        wake_->Wait(mutex_, next_look_ns);
      }
      if (stop_) return;
      retired.swap(retired_);
      if (look_now_) next_look_ns = 0;
      look_now_ = false;
      apps = apps_;
      for (const uint32_t pid : failed_) std::erase(heard_, pid);
      failed_.clear();
    }
    retired.clear();
    if (clock_.SteadyNs() < next_look_ns) continue;
    Look(apps);
    next_look_ns = clock_.SteadyNs() + kLookEveryNs;
  }
}

void AppAudioCapture::Look(const std::vector<std::string>& apps) {
  std::vector<uint32_t> pids;
  const Status status = FindCompanions(apps, pids);
  if (!status.ok()) {
    if (!list_failed_) {
      LogWarning("could not list programs playing sound: %s", status.message().c_str());
    }
    list_failed_ = true;
    return;
  }
  list_failed_ = false;
  StartCompanions(pids);
  const auto gone = std::stable_partition(heard_.begin(), heard_.end(),
                                          [&](uint32_t pid) { return Contains(pids, pid); });
  const MutexLock lock(mutex_);
  removed_.insert(removed_.end(), gone, heard_.end());
  heard_.erase(gone, heard_.end());
}

Status AppAudioCapture::FindCompanions(const std::vector<std::string>& apps,
                                       std::vector<uint32_t>& pids) {
  if (apps.empty()) return Status::Ok();
  std::vector<SoundingProcess> sounding;
  if (Status status = sources_.SoundingProcesses(sounding); !status.ok()) return status;
  std::vector<uint32_t> candidates;
  for (const SoundingProcess& process : sounding) {
    const bool chosen = Contains(apps, ToLower(process.file_name));
    if (chosen && !Contains(candidates, process.pid)) candidates.push_back(process.pid);
  }
  if (candidates.empty()) return Status::Ok();
  if (Status status = processes_->Refresh(); !status.ok()) return status;
  // What belongs to the game is heard with it already.
  std::erase_if(candidates, [this](uint32_t pid) {
    return pid == game_pid_ || IsAncestor(*processes_, pid, game_pid_) ||
           IsAncestor(*processes_, game_pid_, pid);
  });
  for (const uint32_t pid : candidates) {
    const bool heard_with_another =
        std::any_of(candidates.begin(), candidates.end(),
                    [&](uint32_t other) { return IsAncestor(*processes_, other, pid); });
    if (!heard_with_another) pids.push_back(pid);
  }
  return Status::Ok();
}

void AppAudioCapture::StartCompanions(const std::vector<uint32_t>& pids) {
  for (const uint32_t pid : pids) {
    if (Contains(heard_, pid)) continue;
    Companion companion;
    companion.pid = pid;
    Status status = sources_.MakeProcessCapture(pid, ProcessTree::Only, companion.capture);
    if (status.ok()) status = companion.capture->Start();
    // The next look tries again.
    if (!status.ok()) continue;
    heard_.push_back(pid);
    const MutexLock lock(mutex_);
    added_.push_back(std::move(companion));
  }
}

Status AppAudioCapture::Read(uint64_t until_ns, std::vector<int16_t>& out) {
  const size_t begin = out.size();
  if (Status status = base_->Read(until_ns, out); !status.ok()) return status;
  const size_t count = out.size() - begin;
  TakeResults();
  ReadCompanions(until_ns);
  for (Companion& companion : companions_) Mix(companion.pending, out.data() + begin, count);
  delivered_ += count / Format().channels;
  return Status::Ok();
}

void AppAudioCapture::TakeResults() {
  std::vector<Companion> added;
  std::vector<uint32_t> removed;
  {
    const MutexLock lock(mutex_);
    added.swap(added_);
    removed.swap(removed_);
  }
  for (Companion& companion : added) {
    if (has_origin_) companion.capture->SetOrigin(origin_ns_, delivered_);
    companions_.push_back(std::move(companion));
  }
  // After the new ones: one that came and went since the last read goes as well. Of
  // two with one number the older goes.
  for (const uint32_t pid : removed) {
    const auto gone = std::find_if(companions_.begin(), companions_.end(),
                                   [pid](const Companion& one) { return one.pid == pid; });
    if (gone != companions_.end()) Retire(gone);
  }
}

void AppAudioCapture::Retire(std::vector<Companion>::iterator companion) {
  {
    const MutexLock lock(mutex_);
    retired_.push_back(std::move(*companion));
  }
  companions_.erase(companion);
  wake_->NotifyAll();
}

void AppAudioCapture::ReadCompanions(uint64_t until_ns) {
  for (size_t i = 0; i < companions_.size();) {
    if (companions_[i].capture->Read(until_ns, companions_[i].pending).ok()) {
      ++i;
      continue;
    }
    {
      const MutexLock lock(mutex_);
      failed_.push_back(companions_[i].pid);
    }
    Retire(companions_.begin() + static_cast<ptrdiff_t>(i));
  }
}

void AppAudioCapture::Mix(std::vector<int16_t>& pending, int16_t* out, size_t count) const {
  const size_t mixed = std::min(count, pending.size());
  for (size_t i = 0; i < mixed; ++i) {
    out[i] = static_cast<int16_t>(std::clamp(out[i] + pending[i], -32768, 32767));
  }
  const SoundFormat format = Format();
  const size_t most = size_t{format.sample_rate} * format.channels;
  const size_t left = pending.size() - mixed;
  const size_t drop = mixed + (left > most ? left - most : 0);
  pending.erase(pending.begin(), pending.begin() + static_cast<ptrdiff_t>(drop));
}

}  // namespace orventa
