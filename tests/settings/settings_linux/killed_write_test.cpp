// A writer of config.ini that is killed at each of its system calls in turn.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "base/files.h"
#include "settings/config_file.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/temp_folder.h"

namespace orventa {
namespace {

Config WithFps(uint32_t fps) {
  Config config;
  config.video.fps = fps;
  return config;
}

void Put(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// In the child, which shares nothing with the test any more and runs none of its
// endings.
[[noreturn]] void WriteAndEnd(const Config& config, const std::string& path) {
  if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(3);
  raise(SIGSTOP);
  _exit(WriteConfig(config, path).ok() ? 0 : 1);
}

// Lets the child run up to the given stop at a system call, each of which stops it
// on the way in and on the way out, and kills it there. True: it came to its end
// before.
bool RunUpTo(pid_t child, int stop, int& ended_with) {
  int state = 0;
  if (waitpid(child, &state, 0) != child || !WIFSTOPPED(state)) return true;
  for (int i = 0; i <= stop; ++i) {
    if (ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) != 0) break;
    if (waitpid(child, &state, 0) != child || !WIFSTOPPED(state)) {
      ended_with = WIFEXITED(state) ? WEXITSTATUS(state) : -1;
      return true;
    }
  }
  kill(child, SIGKILL);
  waitpid(child, &state, 0);
  return false;
}

TEST(KilledWrite, LeavesTheOldFileOrTheNewOneWhole) {
  const TempFolder temp;
  const std::string path = temp / "config.ini";
  const Config old_config = WithFps(30);
  const Config new_config = WithFps(50);
  const std::string old_text = ConfigText(old_config);
  const std::string new_text = ConfigText(new_config);
  const std::string older_text = ConfigText(WithFps(20));
  FakeClock clock;

  int stops = 0;
  int old_ones = 0;
  for (int ended_with = -1; ended_with < 0; ++stops) {
    ASSERT_LT(stops, 1000);
    Put(path, old_text);  // beside whatever the last round left
    Put(path + ".bak", older_text);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) WriteAndEnd(new_config, path);
    const bool ended = RunUpTo(child, stops, ended_with);
    if (ended) {
      if (ended_with == 3) GTEST_SKIP() << "tracing is not permitted here";
      ASSERT_EQ(ended_with, 0);
    }

    std::string text;
    ASSERT_TRUE(ReadWholeFile(path, 1 << 20, text).ok()) << "after stop " << stops;
    ASSERT_TRUE(text == old_text || text == new_text) << "after stop " << stops;
    old_ones += text == old_text ? 1 : 0;
    Config read;
    ConfigReadOutcome outcome;
    ASSERT_EQ(ReadConfig(clock, path, read, outcome), Status::Ok());
    ASSERT_EQ(read, text == old_text ? old_config : new_config);
    // At worst the backup is a stale one.
    ASSERT_TRUE(ReadWholeFile(path + ".bak", 1 << 20, text).ok());
    ASSERT_TRUE(text == old_text || text == older_text) << "after stop " << stops;
  }
  EXPECT_GT(stops, 20);
  EXPECT_GT(old_ones, 5);
  EXPECT_LT(old_ones, stops);
}

}  // namespace
}  // namespace orventa
