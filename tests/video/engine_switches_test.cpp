// The switches for looking into trouble, on the engine's thread alone.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/video/engine_rig.h"
#include "video/engine_run.h"

namespace orventa {
namespace {

TEST(EngineSwitches, NoRepeatsAndThePaceLog) {
  EngineRig rig;
  rig.screen.fresh_every_ns = kForever;
  rig.screen.acquire_cost_ns = 2 * kMs;
  rig.targets.Show(FakeTargets::Window(7, "game"));
  EngineCore core({.clock = rig.clock,
                   .graphics = rig.graphics,
                   .targets = rig.targets,
                   .windows = rig.targets,
                   .backends = {&rig.backend}},
                  rig.folders, rig.config);
  core.session.Begin();
  const EngineSwitches switches{
      .pace_log_path = JoinPath(::testing::TempDir(), "orventa-engine-pace.tsv"),
      .flush_each_frame = true,
      .no_repeats = true};
  const std::unique_ptr<IThread> thread = rig.clock.StartThread(
      "engine", ThreadPriority::Normal, [&] { EngineRun(core, switches).Run(); });
  rig.Run(2 * kSec);
  const int flushes = static_cast<const FakeDevice&>(*core.device.device()).flushes;
  core.orders.Set(core.orders.stop_requested, true);
  thread->Join();

  const size_t frames = rig.backend.pts.size();
  ASSERT_GE(frames, 100U);
  EXPECT_EQ(static_cast<size_t>(rig.graphics.conversions), frames);
  EXPECT_GE(static_cast<size_t>(flushes) + 1, frames);
  std::string text;
  ASSERT_TRUE(ReadWholeFile(switches.pace_log_path, 1U << 20U, text).ok());
  EXPECT_EQ(static_cast<size_t>(std::count(text.begin(), text.end(), '\n')), frames + 1);
  EXPECT_NE(text.find("\n10\t10\t2000\t"), std::string::npos)
      << "slot 10, on time, 2 ms to acquire";
  EXPECT_TRUE(RemoveFile(switches.pace_log_path).ok());
}

}  // namespace
}  // namespace orventa
