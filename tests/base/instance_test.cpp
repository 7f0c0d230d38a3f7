#include "base/instance.h"

#include <gtest/gtest.h>

#include "base/clock.h"
#include "base/files.h"
#include "base/text.h"
#include "tests/base/child.h"
#include "tests/base/temp_folder.h"

namespace orventa {
namespace {

constexpr uint32_t kLongMs = 60'000;

// A name of this run's own, since other runs may be at work on this machine.
std::string LockName(const std::string& folder) {
  return "OrventaTest" + std::string(FileName(folder));
}

TEST(InstanceChild, DISABLED_HoldsTheLockUntilKilled) {
  const std::string folder = ChildFolder();
  std::unique_ptr<ISingleInstance> held;
  ASSERT_EQ(AcquireSingleInstance(LockName(folder), 0, held), InstanceResult::Acquired);
  LeaveSign(JoinPath(folder, "held"));
  AwaitSign(JoinPath(folder, "never"));
}

TEST(InstanceChild, DISABLED_WaitsForTheProcessOfTheFile) {
  const std::string folder = ChildFolder();
  const auto older = ParseUnsigned(ReadBytes(JoinPath(folder, "older")));
  ASSERT_TRUE(older.has_value());
  LeaveSign(JoinPath(folder, "waits"));
  WaitForOlderProcess(*older, kLongMs);
  LeaveSign(JoinPath(folder, "done"));
}

TEST(SingleInstance, ADeadHolderLetsGo) {
  const TempFolder folder;
  const auto child = StartChild("InstanceChild.DISABLED_HoldsTheLockUntilKilled", folder.path());
  ASSERT_TRUE(AwaitSign(folder / "held"));
  std::unique_ptr<ISingleInstance> held;
  EXPECT_EQ(AcquireSingleInstance(LockName(folder.path()), 0, held), InstanceResult::HeldByAnother);
  EXPECT_EQ(AcquireSingleInstance(LockName(folder.path()), 50, held),
            InstanceResult::HeldByAnother);
  EXPECT_EQ(held, nullptr);
  child->Kill();
  EXPECT_EQ(AcquireSingleInstance(LockName(folder.path()), kLongMs, held),
            InstanceResult::Acquired);
  ASSERT_NE(held, nullptr);
  held.reset();
  EXPECT_EQ(AcquireSingleInstance(LockName(folder.path()), 0, held), InstanceResult::Acquired);
}

TEST(OlderProcess, IsWaitedForUntilItsEnd) {
  const TempFolder folder;
  const auto older = StartChild("InstanceChild.DISABLED_HoldsTheLockUntilKilled", folder.path());
  ASSERT_TRUE(AwaitSign(folder / "held"));
  WriteBytes(folder / "older", std::to_string(older->process_id()));
  const auto younger =
      StartChild("InstanceChild.DISABLED_WaitsForTheProcessOfTheFile", folder.path());
  ASSERT_TRUE(AwaitSign(folder / "waits"));
  const auto clock = MakeSystemClock();
  clock->SleepUntil(clock->SteadyNs() + 100 * kNsPerMs);
  EXPECT_FALSE(FileExists(folder / "done"));
  older->Kill();
  EXPECT_TRUE(AwaitSign(folder / "done"));
}

TEST(OlderProcess, AYoungerOrMissingProcessIsNotWaitedFor) {
  const TempFolder folder;
  const auto younger = StartChild("InstanceChild.DISABLED_HoldsTheLockUntilKilled", folder.path());
  ASSERT_TRUE(AwaitSign(folder / "held"));
  WaitForOlderProcess(younger->process_id(), kLongMs);
  EXPECT_TRUE(younger->IsRunning());
  WaitForOlderProcess(0xFFFF'FFF0, kLongMs);
  WaitForOlderProcess(UINT64_MAX, kLongMs);
}

}  // namespace
}  // namespace orventa
