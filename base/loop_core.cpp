#include "base/loop_core.h"

#include <algorithm>
#include <utility>

namespace orventa {

LoopCore::LoopCore(IClock& clock, std::function<void()> wake)
    : clock_(clock), wake_(std::move(wake)), answered_(clock.MakeWaitPoint()) {}

bool LoopCore::Enqueue(Entry entry) {
  {
    const MutexLock lock(mutex_);
    if (ended_) return false;
    entries_.push_back(std::move(entry));
  }
  wake_();
  return true;
}

bool LoopCore::Post(Message message) {
  return Enqueue(std::move(message));
}

void LoopCore::PostEvent(SystemEvent event) {
  (void)Enqueue(event);
}

void LoopCore::Quit() {
  {
    const MutexLock lock(mutex_);
    quitting_ = true;
  }
  wake_();
}

bool LoopCore::RespondsWithin(uint32_t limit_ms) {
  const uint64_t until_ns = clock_.SteadyNs() + limit_ms * kNsPerMs;
  uint64_t question = 0;
  {
    const MutexLock lock(mutex_);
    if (ended_) return false;
    question = ++questions_;
  }
  wake_();
  const MutexLock lock(mutex_);
  while (answers_ < question && !ended_ && clock_.SteadyNs() < until_ns) {
    answered_->Wait(mutex_, until_ns);
  }
  return answers_ >= question;
}

bool LoopCore::HasEnded() {
  const MutexLock lock(mutex_);
  return ended_;
}

void LoopCore::SetTimer(uint32_t timer_id, uint32_t period_ms) {
  const uint64_t period_ns = std::max<uint64_t>(period_ms, 1) * kNsPerMs;
  timers_[timer_id] = {period_ns, clock_.SteadyNs() + period_ns};
}

void LoopCore::ClearTimer(uint32_t timer_id) {
  timers_.erase(timer_id);
}

bool LoopCore::IsQuitting() {
  const MutexLock lock(mutex_);
  return quitting_;
}

bool LoopCore::HasWork() {
  const MutexLock lock(mutex_);
  if (quitting_ || ended_) return false;
  return !entries_.empty() || answers_ < questions_ || NextTimerNs() <= clock_.SteadyNs();
}

uint64_t LoopCore::NextTimerNs() const {
  uint64_t next_ns = kForever;
  for (const auto& [id, timer] : timers_) next_ns = std::min(next_ns, timer.due_ns);
  return next_ns;
}

bool LoopCore::ServeNext(IMessageHandler& handler) {
  AnswerQuestions();
  if (IsQuitting()) return false;
  // Timers and the queue take turns, so that neither starves while the other has
  // more than there is time for.
  if (timer_served_last_ && ServeEntry(handler)) return true;
  return ServeTimer(handler) || ServeEntry(handler);
}

void LoopCore::End() {
  const MutexLock lock(mutex_);
  ended_ = true;
  answered_->NotifyAll();
}

void LoopCore::AnswerQuestions() {
  const MutexLock lock(mutex_);
  if (answers_ == questions_) return;
  answers_ = questions_;
  answered_->NotifyAll();
}

bool LoopCore::ServeTimer(IMessageHandler& handler) {
  const uint64_t now_ns = clock_.SteadyNs();
  // The one that has waited longest.
  const auto due = std::min_element(timers_.begin(), timers_.end(), [](auto& a, auto& b) {
    return a.second.due_ns < b.second.due_ns;
  });
  if (due == timers_.end() || due->second.due_ns > now_ns) return false;

  Timer& timer = due->second;
  const uint64_t periods_gone = (now_ns - timer.due_ns) / timer.period_ns;
  timer.due_ns += (periods_gone + 1) * timer.period_ns;
  timer_served_last_ = true;
  handler.OnTimer(due->first);
  return true;
}

bool LoopCore::ServeEntry(IMessageHandler& handler) {
  Entry entry;
  {
    const MutexLock lock(mutex_);
    if (entries_.empty()) return false;
    entry = std::move(entries_.front());
    entries_.pop_front();
  }
  timer_served_last_ = false;
  if (auto* const message = std::get_if<Message>(&entry)) {
    handler.OnMessage(std::move(*message));
  } else {
    handler.OnSystemEvent(std::get<SystemEvent>(entry));
  }
  return true;
}

}  // namespace orventa
