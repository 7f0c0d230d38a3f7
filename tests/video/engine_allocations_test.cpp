// The steady frame loop allocates nothing on the engine's thread but a payload for each
// packet of sound, nor does the encoder worker, payloads aside, nor a recording.
#include <gtest/gtest.h>

#include <atomic>
#include <string_view>

#include "tests/fakes/counted_heap.h"
#include "tests/fakes/fake_sound.h"
#include "tests/video/engine_rig.h"

namespace orventa {
namespace {

std::atomic<uint64_t> engine_allocations = 0;
std::atomic<uint64_t> worker_allocations = 0;

class CountedWaitPoint final : public IWaitPoint {
 public:
  explicit CountedWaitPoint(std::unique_ptr<IWaitPoint> inner) : inner_(std::move(inner)) {}
  void Wait(Mutex& mutex, uint64_t until_steady_ns) override ORVENTA_REQUIRES(mutex) {
    const UncountedAllocations bookkeeping_of_the_fake;
    inner_->Wait(mutex, until_steady_ns);
  }
  void NotifyAll() override {
    const UncountedAllocations bookkeeping_of_the_fake;
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
    const UncountedAllocations bookkeeping_of_the_fake;
    inner_.SleepUntil(steady_ns);
  }
  std::unique_ptr<IWaitPoint> MakeWaitPoint() override {
    return std::make_unique<CountedWaitPoint>(inner_.MakeWaitPoint());
  }
  std::unique_ptr<IThread> StartThread(const char* name, ThreadPriority priority,
                                       std::function<void()> body) override {
    return inner_.StartThread(
        name, priority, [name = std::string_view(name), body = std::move(body)] {
          CountAllocationsInto(name == "engine" ? &engine_allocations : &worker_allocations);
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
  FakeSound sound;
  sound.keep_heard = false;
  // As long as devices' names are, told anew whenever it is asked for.
  sound.all.trail = {{.device = "Speakers (a card with a long name)", .reason = "start"}};
  EngineRig rig;
  CountedClock counted(rig.clock);
  rig.config.audio.microphone = rig.config.audio.separate_tracks = true;
  rig.config.replay.duration_seconds = 5;
  rig.screen.fresh_every_ns = 30 * kMs;  // pictures and repeats in turn
  rig.backend.latency_ns = 20 * kMs;
  rig.targets.Show(FakeTargets::Window(7, "game"));
  rig.targets.window_title = "a title that is too long for the string's own memory";
  rig.engine = MakeEngine({.clock = counted,
                           .graphics = rig.graphics,
                           .targets = rig.targets,
                           .windows = rig.targets,
                           .backends = {&rig.backend},
                           .sound = &sound,
                           .drive = &rig.drive},
                          rig.folders, rig.config, rig.list);
  ASSERT_TRUE(rig.engine->Start().ok());
  rig.Run(kSec);
  rig.drive.keep_packets = false;
  std::string path;
  ASSERT_TRUE(rig.engine->StartRecording(path).ok());
  rig.Run(30 * kSec);

  const uint64_t sound_before = sound.packets_given;
  const size_t frames_before = rig.backend.pts.size();
  engine_allocations = 0;
  worker_allocations = 0;
  rig.Run(60 * kSec);
  const uint64_t on_engine = engine_allocations;
  const uint64_t on_worker = worker_allocations;
  EXPECT_GT(rig.backend.pts.size(), frames_before + 3500);
  EXPECT_GT(sound.packets_given, sound_before + 2 * 2800);
  EXPECT_EQ(on_engine, sound.packets_given - sound_before);
  EXPECT_EQ(on_worker, 0U);
  EXPECT_GT(rig.Look().recording_bytes, 5 * 5000U);
  EXPECT_EQ(rig.backend.opened, 1);
  rig.engine.reset();
}

TEST(EngineAllocations, TheCountSeesThreads) {
  FakeClock clock;
  CountedClock counted(clock);
  worker_allocations = 0;
  // A new expression might be optimised away.
  const auto allocate = [] { ::operator delete(::operator new(4)); };
  counted.StartThread("counted", ThreadPriority::Normal, allocate)->Join();
  EXPECT_GE(worker_allocations, 1U);
}

}  // namespace
}  // namespace orventa
