#include "service/notices.h"

#include <array>
#include <utility>

#include "service/later.h"
#include "service/service_state.h"
#include "service/settings_changes.h"

namespace orventa {

std::string_view NoticeKindWord(NoticeKind kind) {
  static constexpr std::array<std::string_view, 12> kWords = {
      "replay_saved",          "replay_failed",    "recording", "screenshot",
      "buffer_paused",         "audio_changed",    "problem",   "marker",
      "running_in_background", "update_available", "updated",   "export_done"};
  return kWords.at(static_cast<size_t>(kind));
}

namespace {

// Where the program went when its window is closed is said once and for all.
bool FirstTimeInBackground(ServiceState& state) {
  if (CopyConfig(state).service.background_noticed) return false;
  Remember(state, [](Config& config) { config.service.background_noticed = true; });
  return true;
}

}  // namespace

void NoticeList::Add(NoticeRecord notice) {
  const MutexLock lock(mutex_);
  notice.seq = ++newest_seq_;
  notices_.push_back(std::move(notice));
  if (notices_.size() > kMaxNotices) notices_.pop_front();
}

uint64_t NoticeList::NewestSeq() const {
  const MutexLock lock(mutex_);
  return newest_seq_;
}

NoticeRecord NoticeList::Newest() const {
  const MutexLock lock(mutex_);
  return notices_.empty() ? NoticeRecord{} : notices_.back();
}

void ShowNotification(ServiceState& state, NoticeKind kind, std::string title, std::string detail,
                      std::string path) {
  if (kind == NoticeKind::RunningInBackground && !FirstTimeInBackground(state)) return;
  NoticeRecord notice;
  notice.kind = kind;
  notice.warning = kind == NoticeKind::Problem || kind == NoticeKind::ReplayFailed;
  notice.title = std::move(title);
  notice.detail = std::move(detail);
  notice.path = std::move(path);
  ShowOnDesktop(state, notice);
  state.notices.Add(std::move(notice));
}

}  // namespace orventa
