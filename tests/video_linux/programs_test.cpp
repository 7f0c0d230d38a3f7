#include "video/video_linux/programs.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "base/clock.h"
#include "support_linux/child_program.h"
#include "tests/fakes/temp_folder.h"

namespace orventa {
namespace {

namespace fs = std::filesystem;

std::string Program(ProcessPrograms& programs, pid_t pid) {
  return programs.ProgramOf(static_cast<uint32_t>(pid));
}

TEST(Programs, AreTheProcessesOwnFiles) {
  ProcessPrograms programs;
  EXPECT_TRUE(Program(programs, getpid()).ends_with("/test_video_linux"));
  EXPECT_EQ(Program(programs, 0), "");
  EXPECT_EQ(Program(programs, 0x7FFFFFFF), "");
}

// A copy of `sleep` plays the loader, a library under the name of a game the game.
TEST(Programs, OfWindowsAreNotTheirLoader) {
  const TempFolder folder;
  fs::copy_file("/bin/sleep", folder / "wine64-preloader");
  const fs::path game = fs::path(folder.path()) / "drive_c" / "Game.exe";
  fs::create_directories(game.parent_path());
  fs::create_directories(folder / "dosdevices");
  fs::create_directory_symlink("../drive_c", folder / "dosdevices/c:");
  fs::copy_file("/lib/x86_64-linux-gnu/libm.so.6", game);
  const std::string other = folder / "tool.exe";
  fs::copy_file("/lib/x86_64-linux-gnu/libutil.so.1", other);

  struct Case {
    const char* what;
    const char* started_as;
    std::vector<std::string> variables;
    std::string expected;
  };
  const Case cases[] = {
      {"mapped by the name it was started as",
       "C:\\somewhere\\GAME.EXE",
       {"LD_PRELOAD=" + other + " " + game.string()},
       game.string()},
      {"not mapped", "c:\\Game.exe", {"WINEPREFIX=" + folder.path()}, game.string()},
      {"mapped, started as nobody knows what", "start", {"LD_PRELOAD=" + other}, other},
      {"nothing known", "Z:\\no\\such.exe", {"WINEPREFIX=" + folder.path()}, ""},
  };
  const std::unique_ptr<IClock> clock = MakeSystemClock();
  for (const Case& row : cases) {
    const ChildProgram child(folder / "wine64-preloader", {row.started_as, "1000"}, row.variables);
    // The child is a copy of this program at first, and maps its files one by one.
    const uint64_t end_ns = clock->SteadyNs() + 10 * kNsPerSecond;
    std::string found;
    do {
      clock->SleepUntil(clock->SteadyNs() + kNsPerMs);
      ProcessPrograms programs;
      found = Program(programs, child.pid());
      EXPECT_EQ(Program(programs, child.pid()), found) << "remembered";
    } while (found != row.expected && clock->SteadyNs() < end_ns);
    EXPECT_EQ(found, row.expected) << row.what;
  }
}

TEST(Programs, AreReadFromMapsWithBlanksAndDeletedFiles) {
  const char* const maps =
      "00400000-00401000 r--p 00000000 08:01 12   /opt/wine/ntdll.so\n"
      "00500000-00501000 r--p 00000000 08:01 13   /games/My Tool.EXE\n"
      "00600000-00601000 rw-p 00000000 00:00 0 \n"
      "00700000-00701000 r--p 00000000 08:01 14   /games/The Game.exe (deleted)\n";
  EXPECT_EQ(MappedProgram(maps, ""), "/games/My Tool.EXE");
  EXPECT_EQ(MappedProgram(maps, "the game.exe"), "/games/The Game.exe");
  EXPECT_EQ(MappedProgram(maps, "other.exe"), "");
}

}  // namespace
}  // namespace orventa
