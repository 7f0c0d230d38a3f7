#include "video/target_watch.h"

namespace orventa {

bool TargetWatch::WatchWindow(uint64_t slot, uint64_t now_ns, bool recording) {
  if (!current_.IsWindow()) return false;
  const uint64_t window = current_.target.window;
  minimised_ = windows_.IsHiddenOrMinimised(window);
  // A window that the user named keeps its claim while it only stands behind.
  const bool may_be_left = current_.any_game ? !recording : minimised_;
  if (!may_be_left || windows_.IsForeground(window)) {
    candidate_.reset();
    return false;
  }
  if (slot >= next_look_slot_) {
    next_look_slot_ = slot + fps_;
    if (!finder_.Find(0, found_).ok() || !MayTakeOver(found_)) {
      candidate_.reset();
    } else if (!candidate_ || candidate_->window != found_.target.window) {
      candidate_ = Candidate{.window = found_.target.window, .since_ns = now_ns};
    } else {
      return now_ns - candidate_->since_ns >= kSwitchAfterNs;
    }
  }
  return false;
}

bool TargetWatch::MayTakeOver(const FoundTarget& candidate) {
  if (!candidate.IsWindow() || candidate.target == current_.target) return false;
  if (candidate.list_index > current_.list_index) return false;
  return !candidate.any_game || windows_.IsForeground(candidate.target.window);
}

bool TargetWatch::BetterTargetOpened() {
  if (!finder_.Find(current_.target.window, found_).ok() ||
      found_.list_index >= current_.list_index)
    return false;
  if (found_.target != current_.target) return true;
  current_.list_index = found_.list_index;
  return false;
}

bool TargetWatch::LostItsClaim() {
  const Status status = finder_.Find(current_.target.window, found_);
  // A desktop that cannot be asked says nothing against the target.
  if (!status.ok()) return status.code() == StatusCode::NoTarget;
  if (found_.target != current_.target) return true;
  current_.list_index = found_.list_index;
  return false;
}

bool TargetWatch::ReadNewTitle(const std::string** title) {
  if (!current_.IsWindow()) return false;
  windows_.ReadTitle(current_.target.window, title_);
  if (title_.empty() || title_ == shown_title_) return false;
  shown_title_ = title_;
  *title = &shown_title_;
  return true;
}

}  // namespace orventa
