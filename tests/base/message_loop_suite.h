// The promises of base/message_loop.h as one suite for every message loop: the fake
// one and each platform's. A platform's file says how to make its loop:
//   INSTANTIATE_TEST_SUITE_P(Linux, MessageLoopSuite, testing::Values(&MakeLinux));
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>

#include "base/clock.h"
#include "base/message_loop.h"

namespace orventa {

// A loop with its clock, and what only its own kind can do to it.
class LoopUnderTest {
 public:
  virtual ~LoopUnderTest() = default;
  virtual IClock& clock() = 0;
  virtual IMessageLoop& loop() = 0;
  virtual void Raise(SystemEvent event) = 0;
  // Whether this platform's menus and dialogs have a loop of their own.
  virtual bool HasMenuLoops() { return false; }
  // In a handler: opens such a menu or dialog until the condition holds.
  virtual void RunMenuUntil(const std::function<bool()>&) {}
};

using MakeLoop = std::unique_ptr<LoopUnderTest> (*)();

class MessageLoopSuite : public testing::TestWithParam<MakeLoop>, public IMessageHandler {
 protected:
  void SetUp() override { under_test_ = GetParam()(); }

  IClock& clock() { return under_test_->clock(); }
  IMessageLoop& loop() { return under_test_->loop(); }
  uint64_t NowNs() { return clock().SteadyNs(); }
  void SleepMs(uint64_t ms) { clock().SleepUntil(NowNs() + ms * kNsPerMs); }
  std::unique_ptr<IThread> Start(std::function<void()> body);
  bool PostId(uint32_t id, uint64_t value = 0);
  // Runs the loop on this thread; whoever posts kQuit ends it.
  void Run() { loop().Run(*this); }

  void OnMessage(Message message) override;
  void OnTimer(uint32_t timer_id) override { on_timer_(timer_id); }
  void OnSystemEvent(SystemEvent event) override { on_event_(event); }

  static constexpr uint32_t kQuit = 999;

  std::unique_ptr<LoopUnderTest> under_test_;
  std::function<void(Message)> on_message_ = [](const Message&) {};
  std::function<void(uint32_t)> on_timer_ = [](uint32_t) {};
  std::function<void(SystemEvent)> on_event_ = [](SystemEvent) {};
};

}  // namespace orventa
