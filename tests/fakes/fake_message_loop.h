// A message loop that waits on a clock, usually the fake one, so that the main
// thread of a test runs in virtual time. It runs on the thread that calls Run.
#pragma once

#include <memory>

#include "base/clock.h"
#include "base/loop_core.h"
#include "base/message_loop.h"
#include "base/mutex.h"

namespace orventa {

class FakeMessageLoop final : public IMessageLoop {
 public:
  explicit FakeMessageLoop(IClock& clock);
  ~FakeMessageLoop() override;

  void Run(IMessageHandler& handler) override;
  void Quit() override { core_.Quit(); }
  void Close() override { core_.PostEvent(SystemEvent::CloseRequested); }
  bool Post(Message message) override;
  void SetTimer(uint32_t timer_id, uint32_t period_ms) override;
  void ClearTimer(uint32_t timer_id) override { core_.ClearTimer(timer_id); }
  bool RespondsWithin(uint32_t limit_ms) override { return core_.RespondsWithin(limit_ms); }

  // Any thread: the desktop says something. Handled in its turn.
  void InjectSystemEvent(SystemEvent event) { core_.PostEvent(event); }

  // In a handler: a menu is open, and its own loop serves, until that time.
  void RunMenuUntil(uint64_t steady_ns);

  // How many messages have been taken in.
  uint64_t posted() const;

 private:
  void ServeUntil(IMessageHandler& handler, uint64_t steady_ns);
  void Wake();

  IClock& clock_;
  LoopCore core_;
  IMessageHandler* handler_ = nullptr;

  mutable Mutex mutex_;
  const std::unique_ptr<IWaitPoint> wake_point_;
  bool woken_ ORVENTA_GUARDED_BY(mutex_) = false;
  uint64_t posted_ ORVENTA_GUARDED_BY(mutex_) = 0;
};

}  // namespace orventa
