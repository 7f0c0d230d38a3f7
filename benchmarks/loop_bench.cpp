// The engine's own cost in a frame slot: a real clock, and a card, a screen and an
// encoder that take no time.
#include <algorithm>
#include <atomic>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "benchmarks/bench.h"
#include "tests/fakes/counted_heap.h"
#include "tests/fakes/fake_encoder.h"
#include "tests/fakes/fake_graphics.h"
#include "tests/fakes/fake_targets.h"
#include "video/engine.h"

namespace orventa::bench {
namespace {

std::atomic<bool> measuring = false;
std::atomic<uint64_t> allocations = 0;

// The system's clock, which notes how the engine's thread sleeps: what lies between
// two sleeps is the work of a slot.
class WatchedClock final : public IClock {
 public:
  explicit WatchedClock(IClock& clock) : clock_(clock) {
    work_ns_.reserve(1U << 16U);
    late_ns_.reserve(1U << 16U);
  }

  uint64_t SteadyNs() const override { return clock_.SteadyNs(); }
  uint64_t SessionNs() const override { return clock_.SessionNs(); }
  uint64_t SuspendedNs() const override { return clock_.SuspendedNs(); }
  int64_t WallMs() const override { return clock_.WallMs(); }
  LocalTime ToLocal(int64_t wall_ms) const override { return clock_.ToLocal(wall_ms); }
  void SleepUntil(uint64_t steady_ns) override {
    const bool measured = measuring && is_engine_;
    if (measured && woke_at_ns_ != 0) work_ns_.push_back(clock_.SteadyNs() - woke_at_ns_);
    clock_.SleepUntil(steady_ns);
    if (!measured) return;
    woke_at_ns_ = clock_.SteadyNs();
    late_ns_.push_back(woke_at_ns_ - std::min(steady_ns, woke_at_ns_));
  }
  std::unique_ptr<IWaitPoint> MakeWaitPoint() override { return clock_.MakeWaitPoint(); }
  std::unique_ptr<IThread> StartThread(const char* name, ThreadPriority priority,
                                       std::function<void()> body) override {
    const bool engine = std::string_view(name) == "engine";
    return clock_.StartThread(name, priority, [engine, body = std::move(body)] {
      CountAllocationsInto(&allocations);
      is_engine_ = engine;
      body();
    });
  }
  std::unique_ptr<void, void (*)(void*)> RaiseTimerResolution() override {
    return clock_.RaiseTimerResolution();
  }

  // Read once the engine has stopped.
  const std::vector<uint64_t>& work_ns() const { return work_ns_; }
  const std::vector<uint64_t>& late_ns() const { return late_ns_; }

 private:
  static thread_local bool is_engine_;

  IClock& clock_;
  uint64_t woke_at_ns_ = 0;
  std::vector<uint64_t> work_ns_;
  std::vector<uint64_t> late_ns_;
};

thread_local bool WatchedClock::is_engine_ = false;

double PercentileUs(std::vector<uint64_t> values_ns, size_t percent) {
  if (values_ns.empty()) return 0;
  const auto at =
      values_ns.begin() + static_cast<ptrdiff_t>((values_ns.size() - 1) * percent / 100);
  std::nth_element(values_ns.begin(), at, values_ns.end());
  return static_cast<double>(*at) / 1000;
}

std::vector<Row> MeasureLoop() {
  const std::unique_ptr<IClock> system = MakeSystemClock();
  WatchedClock clock(*system);
  FakeScreen screen(clock);
  FakeGraphics graphics(screen);
  FakeTargets targets;
  FakeEncoderBackend backend(clock);
  targets.Show(FakeTargets::Window(7, "game"));
  targets.window_title = "game window";

  Config config;
  config.replay.duration_seconds = 3;  // in its steady state after the warm-up
  const std::unique_ptr<ReplayEngine> engine = MakeEngine({.clock = clock,
                                                           .graphics = graphics,
                                                           .targets = targets,
                                                           .windows = targets,
                                                           .backends = {&backend}},
                                                          {}, config, {});
  if (!engine->Start().ok()) return {};
  const auto let_run = [&](uint64_t seconds) {
    system->SleepUntil(system->SteadyNs() + seconds * kNsPerSecond);
  };
  let_run(8);
  measuring = true;
  const uint64_t allocated_before = allocations;
  let_run(10);
  const uint64_t allocated = allocations - allocated_before;
  measuring = false;
  engine->Stop();

  const double slots = static_cast<double>(std::max<size_t>(1, clock.work_ns().size()));
  return {{"loop.overhead_us", PercentileUs(clock.work_ns(), 50)},
          {"loop.allocations_per_slot", static_cast<double>(allocated) / slots},
          {"loop.jitter_p99_us", PercentileUs(clock.late_ns(), 99)}};
}

const Register kLoop("loop", MeasureLoop);

}  // namespace
}  // namespace orventa::bench
