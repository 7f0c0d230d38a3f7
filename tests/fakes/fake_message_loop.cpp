#include "tests/fakes/fake_message_loop.h"

#include <algorithm>
#include <utility>

namespace orventa {

FakeMessageLoop::FakeMessageLoop(IClock& clock)
    : clock_(clock), core_(clock, [this] { Wake(); }), wake_point_(clock.MakeWaitPoint()) {}

FakeMessageLoop::~FakeMessageLoop() = default;

void FakeMessageLoop::Run(IMessageHandler& handler) {
  handler_ = &handler;
  ServeUntil(handler, kForever);
  handler_ = nullptr;
  core_.End();
}

void FakeMessageLoop::RunMenuUntil(uint64_t steady_ns) {
  ServeUntil(*handler_, steady_ns);
}

void FakeMessageLoop::ServeUntil(IMessageHandler& handler, uint64_t steady_ns) {
  while (!core_.IsQuitting() && clock_.SteadyNs() < steady_ns) {
    if (core_.ServeNext(handler)) continue;
    const uint64_t until_ns = std::min(steady_ns, core_.NextTimerNs());
    const MutexLock lock(mutex_);
    while (!woken_ && clock_.SteadyNs() < until_ns) wake_point_->Wait(mutex_, until_ns);
    woken_ = false;
  }
}

void FakeMessageLoop::Wake() {
  const MutexLock lock(mutex_);
  woken_ = true;
  wake_point_->NotifyAll();
}

bool FakeMessageLoop::Post(Message message) {
  if (!core_.Post(std::move(message))) return false;
  const MutexLock lock(mutex_);
  ++posted_;
  return true;
}

void FakeMessageLoop::SetTimer(uint32_t timer_id, uint32_t period_ms) {
  core_.SetTimer(timer_id, period_ms);
}

uint64_t FakeMessageLoop::posted() const {
  const MutexLock lock(mutex_);
  return posted_;
}

}  // namespace orventa
