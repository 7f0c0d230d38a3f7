// The steady frame loop allocates nothing, neither on the engine's thread nor on the
// encoder worker, which feeds the history. This file replaces the program's operator
// new to count.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string_view>

#include "tests/video/engine_rig.h"

namespace {

std::atomic<uint64_t> engine_allocations = 0;
std::atomic<uint64_t> worker_allocations = 0;
std::atomic<bool> counting = false;
thread_local std::atomic<uint64_t>* counter = nullptr;  // null: not counted
thread_local int inside_clock = 0;  // the fake clock's own bookkeeping is not meant

void* Allocate(std::size_t size) {
  if (counting && counter != nullptr && inside_clock == 0) ++*counter;
  void* memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return Allocate(size);
}
void* operator new[](std::size_t size) {
  return Allocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace orventa {
namespace {

struct InsideClock {
  InsideClock() { ++inside_clock; }
  ~InsideClock() { --inside_clock; }
};

class CountedWaitPoint final : public IWaitPoint {
 public:
  explicit CountedWaitPoint(std::unique_ptr<IWaitPoint> inner) : inner_(std::move(inner)) {}
  void Wait(Mutex& mutex, uint64_t until_steady_ns) override ORVENTA_REQUIRES(mutex) {
    InsideClock inside;
    inner_->Wait(mutex, until_steady_ns);
  }
  void NotifyAll() override {
    InsideClock inside;
    inner_->NotifyAll();
  }

 private:
  std::unique_ptr<IWaitPoint> inner_;
};

// A clock whose threads' allocations are counted.
class CountedClock final : public IClock {
 public:
  explicit CountedClock(FakeClock& inner) : inner_(inner) {}

  uint64_t SteadyNs() const override { return inner_.SteadyNs(); }
  uint64_t SessionNs() const override { return inner_.SessionNs(); }
  uint64_t SuspendedNs() const override { return inner_.SuspendedNs(); }
  int64_t WallMs() const override { return inner_.WallMs(); }
  LocalTime ToLocal(int64_t wall_ms) const override { return inner_.ToLocal(wall_ms); }
  void SleepUntil(uint64_t steady_ns) override {
    InsideClock inside;
    inner_.SleepUntil(steady_ns);
  }
  std::unique_ptr<IWaitPoint> MakeWaitPoint() override {
    return std::make_unique<CountedWaitPoint>(inner_.MakeWaitPoint());
  }
  std::unique_ptr<IThread> StartThread(const char* name, ThreadPriority priority,
                                       std::function<void()> body) override {
    return inner_.StartThread(
        name, priority, [name = std::string_view(name), body = std::move(body)] {
          counter = name == "engine" ? &engine_allocations : &worker_allocations;
          body();
        });
  }
  std::unique_ptr<void, void (*)(void*)> RaiseTimerResolution() override {
    return inner_.RaiseTimerResolution();
  }

 private:
  FakeClock& inner_;
};

TEST(EngineAllocations, NoneInTheSteadyLoop) {
  EngineRig rig;
  CountedClock counted(rig.clock);
  rig.config.replay.duration_seconds = 5;
  rig.screen.fresh_every_ns = 30 * kMs;  // pictures and repeats in turn
  rig.backend.latency_ns = 20 * kMs;
  rig.targets.Show(FakeTargets::Window(7, "game"));
  rig.targets.window_title = "a title that is too long for the string's own memory";
  rig.engine = MakeEngine({.clock = counted,
                           .graphics = rig.graphics,
                           .targets = rig.targets,
                           .windows = rig.targets,
                           .backends = {&rig.backend}},
                          rig.folders, rig.config);
  ASSERT_TRUE(rig.engine->Start().ok());
  rig.Run(30 * kSec);

  const size_t frames_before = rig.backend.pts.size();
  counting = true;
  rig.Run(60 * kSec);
  counting = false;
  EXPECT_GT(rig.backend.pts.size(), frames_before + 3500);
  EXPECT_EQ(engine_allocations, 0U);
  EXPECT_EQ(worker_allocations, 0U);
  EXPECT_EQ(rig.backend.opened, 1);
  rig.engine.reset();
}

TEST(EngineAllocations, TheCountSeesThreads) {
  FakeClock clock;
  CountedClock counted(clock);
  worker_allocations = 0;
  counting = true;
  counted.StartThread("counted", ThreadPriority::Normal, [] { delete new int; })->Join();
  counting = false;
  EXPECT_GE(worker_allocations, 1U);
}

}  // namespace
}  // namespace orventa
