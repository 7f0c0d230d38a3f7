#include "tests/fakes/fake_message_loop.h"

#include "tests/base/message_loop_suite.h"
#include "tests/fakes/fake_clock.h"

namespace orventa {
namespace {

class FakeLoopUnderTest final : public LoopUnderTest {
 public:
  IClock& clock() override { return clock_; }
  IMessageLoop& loop() override { return loop_; }
  void Raise(SystemEvent event) override { loop_.InjectSystemEvent(event); }
  bool HasMenuLoops() override { return true; }
  void RunMenuUntil(const std::function<bool()>& done) override {
    for (int i = 0; i < 1000 && !done(); ++i) loop_.RunMenuUntil(clock_.SteadyNs() + kNsPerMs);
  }

 private:
  FakeClock clock_;
  FakeMessageLoop loop_{clock_};
};

std::unique_ptr<LoopUnderTest> MakeFake() {
  return std::make_unique<FakeLoopUnderTest>();
}

INSTANTIATE_TEST_SUITE_P(Fake, MessageLoopSuite, testing::Values(&MakeFake));

}  // namespace
}  // namespace orventa
