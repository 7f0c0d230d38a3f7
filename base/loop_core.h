// What the message loops of all platforms share: the queue, the timers and the
// order of serving. The platform's loop waits and wakes; the core decides what is
// next. Owned by a loop, which must outlive every call of its posters.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <variant>

#include "base/clock.h"
#include "base/message_loop.h"
#include "base/mutex.h"

namespace orventa {

class LoopCore {
 public:
  // `wake` ends the platform's wait; it is called from any thread, and must not
  // block. The clock must outlive the core.
  LoopCore(IClock& clock, std::function<void()> wake);

  // Any thread.
  bool Post(Message message);
  void PostEvent(SystemEvent event);
  void Quit();
  bool RespondsWithin(uint32_t limit_ms);
  bool HasEnded();

  // The loop's thread.
  void SetTimer(uint32_t timer_id, uint32_t period_ms);
  void ClearTimer(uint32_t timer_id);
  bool IsQuitting();
  // Whether ServeNext would call a handler now.
  bool HasWork();
  // When the next timer falls due; kForever without timers.
  uint64_t NextTimerNs() const;
  // Calls the handler for one message, event or due timer, and answers those who
  // ask whether the loop responds. False when there was nothing to handle.
  bool ServeNext(IMessageHandler& handler);
  // From now on nothing is taken in or served.
  void End();

 private:
  struct Timer {
    uint64_t period_ns = 0;
    uint64_t due_ns = 0;
  };
  using Entry = std::variant<Message, SystemEvent>;

  bool Enqueue(Entry entry);
  void AnswerQuestions();
  bool ServeTimer(IMessageHandler& handler);
  bool ServeEntry(IMessageHandler& handler);

  IClock& clock_;
  const std::function<void()> wake_;
  std::map<uint32_t, Timer> timers_;
  bool timer_served_last_ = false;

  Mutex mutex_;
  const std::unique_ptr<IWaitPoint> answered_;
  std::deque<Entry> entries_ ORVENTA_GUARDED_BY(mutex_);
  bool quitting_ ORVENTA_GUARDED_BY(mutex_) = false;
  bool ended_ ORVENTA_GUARDED_BY(mutex_) = false;
  // How often somebody has asked whether the loop responds, and how many of these
  // have had their answer.
  uint64_t questions_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint64_t answers_ ORVENTA_GUARDED_BY(mutex_) = 0;
};

}  // namespace orventa
