#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "base/base_linux/posix.h"
#include "service/channel/channel.h"
#include "tests/fakes/temp_folder.h"

namespace orventa {
namespace {

// Runs with a runtime folder of its own, and puts the old one back.
class RuntimeSockets : public ::testing::Test {
 protected:
  RuntimeSockets() {
    if (const char* set = std::getenv("XDG_RUNTIME_DIR")) before = set;
    Use(folder.path());
  }
  ~RuntimeSockets() override {
    server.reset();
    if (before.empty()) {
      unsetenv("XDG_RUNTIME_DIR");
    } else {
      Use(before);
    }
    unsetenv("TMPDIR");
  }

  static void Use(const std::string& path) { setenv("XDG_RUNTIME_DIR", path.c_str(), 1); }

  bool Open(const std::string& name = "ORVENTA-test") {
    ChannelOptions options;
    options.name = name;
    options.handler = [](const ChannelRequest&) { return std::string("OK"); };
    return OpenChannel(*clock, std::move(options), server);
  }

  static ChannelCallResult Call(const std::string& name = "ORVENTA-test") {
    std::string answer;
    return CallChannel(name, "A", answer);
  }

  static mode_t Mode(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0 ? info.st_mode & 0777 : 0;
  }

  // What a service that was killed leaves behind.
  static void LeaveDeadSocket(const std::string& path) {
    const FileDescriptor dead(socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(dead.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  }

  std::unique_ptr<IClock> clock = MakeSystemClock();
  TempFolder folder;
  std::string before;
  std::unique_ptr<IChannelServer> server;
};

TEST_F(RuntimeSockets, LieInTheRuntimeFolderForThisUserOnly) {
  ASSERT_TRUE(Open());
  EXPECT_EQ(Mode(folder / "ORVENTA-test"), 0600U);
  server.reset();
  EXPECT_FALSE(std::filesystem::exists(folder / "ORVENTA-test"));
}

TEST_F(RuntimeSockets, ReplaceTheSocketOfADeadService) {
  LeaveDeadSocket(folder / "ORVENTA-test");
  ASSERT_TRUE(Open());
  EXPECT_EQ(Call(), ChannelCallResult::Answered);
}

TEST_F(RuntimeSockets, LeaveALiveServiceAloneEvenWithoutItsLock) {
  ASSERT_TRUE(Open());
  std::filesystem::remove(folder / "ORVENTA-test.lock");
  const auto first = std::move(server);
  EXPECT_FALSE(Open());
  EXPECT_EQ(Call(), ChannelCallResult::Answered);
}

TEST_F(RuntimeSockets, NeverReplaceAnythingButASocket) {
  std::filesystem::create_directory(folder / "ORVENTA-test");
  EXPECT_FALSE(Open());
  EXPECT_TRUE(std::filesystem::is_directory(folder / "ORVENTA-test"));
}

TEST_F(RuntimeSockets, RefuseAFolderThatOthersCanReach) {
  // With no session folder it is one below the temp folder, and that one was
  // prepared by somebody.
  unsetenv("XDG_RUNTIME_DIR");
  setenv("TMPDIR", folder.path().c_str(), 1);
  ASSERT_TRUE(Open());
  server.reset();
  const std::string ours = folder / ("orventa-" + std::to_string(getuid()));
  ASSERT_EQ(Mode(ours), 0700U);

  ASSERT_EQ(chmod(ours.c_str(), 0755), 0);
  EXPECT_FALSE(Open());
  std::filesystem::remove_all(ours);
  std::filesystem::create_directory(folder / "elsewhere");
  ASSERT_EQ(chmod((folder / "elsewhere").c_str(), 0700), 0);
  std::filesystem::create_directory_symlink(folder / "elsewhere", ours);
  EXPECT_FALSE(Open());
}

TEST_F(RuntimeSockets, TakeNamesLongerThanAnAddress) {
  const std::string user(64, ' ');
  ASSERT_TRUE(Open(ChannelName(ChannelKind::Control, user)));
  EXPECT_EQ(Call(ChannelName(ChannelKind::Control, user)), ChannelCallResult::Answered);
  EXPECT_EQ(Call(ChannelName(ChannelKind::Control, user + " ")), ChannelCallResult::NoService);
}

}  // namespace
}  // namespace orventa
