#include "base/files.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

#include "base/base_linux/runtime_folder.h"
#include "base/text.h"
#include "tests/base/temp_folder.h"

namespace orventa {
namespace {

// Sets a variable, or takes it away, until the end of the test.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) {
    if (const char* before = getenv(name)) before_ = before;
    Set(value);
  }
  ~Variable() { Set(before_ ? before_->c_str() : nullptr); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  void Set(const char* value) {
    if (value == nullptr) {
      unsetenv(name_);
    } else {
      setenv(name_, value, 1);
    }
  }
  const char* const name_;
  std::optional<std::string> before_;
};

// A drive of one MiB in that folder.
class SmallDrive {
 public:
  explicit SmallDrive(const TempFolder& folder)
      : path_(folder.path()), mounted_(mount("tmpfs", path_.c_str(), "tmpfs", 0, "size=1m") == 0) {}
  ~SmallDrive() {
    if (mounted_) umount2(path_.c_str(), MNT_DETACH);
  }
  SmallDrive(const SmallDrive&) = delete;
  SmallDrive& operator=(const SmallDrive&) = delete;

  bool mounted() const { return mounted_; }

 private:
  const std::string path_;
  const bool mounted_;
};

TEST(LinuxFiles, AFullDriveIsToldApart) {
  const TempFolder folder;
  const SmallDrive drive(folder);
  if (!drive.mounted()) GTEST_SKIP() << "only root mounts a small drive";
  const std::string path = folder / "config.ini";
  ASSERT_TRUE(WriteFileAtomically(path, "good", KeepBackup::No).ok());
  const auto space = FreeSpace(path);
  ASSERT_TRUE(space.has_value());
  EXPECT_LE(*space, 1u << 20);
  const std::vector<uint8_t> big(2u << 20);
  OutputFile out;
  ASSERT_TRUE(out.Create(folder / "clip.mp4").ok());
  const FileResult result = out.Write(big);
  EXPECT_EQ(result.error, FileError::DriveFull);
  EXPECT_EQ(result.Text(), "No space left on device");
  EXPECT_EQ(FreeSpace(path), 0u);
  EXPECT_EQ(WriteFileAtomically(path, std::string(10'000, 'x'), KeepBackup::Yes).error,
            FileError::DriveFull);
  EXPECT_EQ(ReadBytes(path), "good");
  EXPECT_FALSE(FileExists(path + ".tmp"));
}

TEST(LinuxFiles, APipeUnderAFilesNameIsRefusedAndNotWaitedFor) {
  const TempFolder folder;
  const std::string path = folder / "config.ini";
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  InputFile in;
  EXPECT_EQ(in.Open(path).error, FileError::Other);
  OutputFile out;
  EXPECT_FALSE(out.Create(path).ok());
}

TEST(LinuxFiles, ReplacesAFileThatSomebodyReads) {
  const TempFolder folder;
  WriteBytes(folder / "old", "old");
  WriteBytes(folder / "new", "new");
  InputFile in;
  ASSERT_TRUE(in.Open(folder / "old").ok());
  ASSERT_TRUE(MoveReplacing(folder / "new", folder / "old").ok());
  EXPECT_EQ(ReadBytes(folder / "old"), "new");
  uint8_t buffer[3] = {};
  size_t read = 0;
  ASSERT_TRUE(in.ReadAt(0, buffer, read).ok());
  EXPECT_EQ(std::string(buffer, buffer + read), "old");
}

TEST(LinuxFiles, TwoWritersNeverShareAFile) {
  const TempFolder folder;
  OutputFile first;
  OutputFile second;
  ASSERT_TRUE(first.Create(folder / "file").ok());
  const uint8_t byte = 'x';
  ASSERT_TRUE(first.Write({&byte, 1}).ok());
  EXPECT_EQ(second.Create(folder / "file").error, FileError::InUse);
  EXPECT_EQ(ReadBytes(folder / "file"), "x");
}

TEST(LinuxFiles, AnAtomicWriteKeepsTheAccessRights) {
  const TempFolder folder;
  const std::string path = folder / "config.ini";
  WriteBytes(path, "secret");
  ASSERT_EQ(chmod(path.c_str(), 0600), 0);
  ASSERT_TRUE(WriteFileAtomically(path, "new", KeepBackup::Yes).ok());
  for (const std::string& file : {path, path + ".bak"}) {
    struct stat info {};
    ASSERT_EQ(stat(file.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u) << file;
  }
}

TEST(LinuxFiles, ReadsFilesThatTellNoSize) {
  std::string text;
  ASSERT_TRUE(ReadWholeFile("/proc/self/status", 1 << 20, text).ok());
  EXPECT_TRUE(text.starts_with("Name:"));
  EXPECT_TRUE(text.ends_with('\n'));
}

TEST(LinuxFiles, TakesPathsApart) {
  const struct {
    const char* path;
    const char* parent;
    const char* name;
  } kCases[] = {
      {"/a/b", "/a", "b"}, {"/a", "/", "a"},     {"/", "", ""},       {"a", "", "a"},
      {"a/b", "a", "b"},   {"/a//b", "/a", "b"}, {"/a/b/", "/a", ""}, {"", "", ""},
      {"//a", "/", "a"},   {"a\\b", "", "a\\b"},
  };
  for (const auto& item : kCases) {
    EXPECT_EQ(ParentFolder(item.path), item.parent) << item.path;
    EXPECT_EQ(FileName(item.path), item.name) << item.path;
  }
  EXPECT_EQ(JoinPath("/a", "b"), "/a/b");
  EXPECT_EQ(JoinPath("/a/", "b"), "/a/b");
  EXPECT_EQ(JoinPath("", "b"), "b");
}

TEST(LinuxKnownFolders, FollowTheDesktopsRules) {
  const TempFolder folder;
  const std::string config = folder / "config";
  ASSERT_TRUE(CreateFolders(config).ok());
  const Variable home("HOME", "/home/somebody");
  const Variable config_home("XDG_CONFIG_HOME", config.c_str());
  const Variable data_home("XDG_DATA_HOME", "relative/is/not/set");
  const Variable videos("XDG_VIDEOS_DIR", nullptr);
  const Variable pictures("XDG_PICTURES_DIR", nullptr);
  const Variable temp("TMPDIR", nullptr);

  KnownFolders folders = FindKnownFolders();
  EXPECT_EQ(folders.config, config + "/ORVENTA");
  EXPECT_EQ(folders.local_data, "/home/somebody/.local/share/ORVENTA");
  EXPECT_EQ(folders.videos, "/home/somebody/Videos");
  EXPECT_EQ(folders.pictures, "/home/somebody/Pictures");
  EXPECT_EQ(folders.temp, "/tmp");
  EXPECT_TRUE(FileExists(JoinPath(folders.program, "test_base")));

  WriteBytes(config + "/user-dirs.dirs",
             "# written by a tool\n"
             "#XDG_VIDEOS_DIR=\"/commented/out\"\n"
             "XDG_MUSIC_DIR=\"$HOME/Musik\"\n"
             "  XDG_VIDEOS_DIR=\"$HOME/Meine \\\"Videos\\\"\"\n"
             "XDG_PICTURES_DIR=\"/mnt/Bilder\"\n");
  folders = FindKnownFolders();
  EXPECT_EQ(folders.videos, "/home/somebody/Meine \"Videos\"");
  EXPECT_EQ(folders.pictures, "/mnt/Bilder");

  // Turned off, unclosed, relative: as if there were no line.
  for (const char* value : {"\"$HOME/\"", "\"$HOME\"", "\"/unclosed", "\"relative\"", "bare", ""}) {
    WriteBytes(config + "/user-dirs.dirs", std::string("XDG_VIDEOS_DIR=") + value + "\n");
    EXPECT_EQ(FindKnownFolders().videos, "/home/somebody/Videos") << value;
  }
  const Variable direct("XDG_VIDEOS_DIR", "/direct");
  EXPECT_EQ(FindKnownFolders().videos, "/direct");
}

TEST(LinuxRuntimeFolder, IsOursAlone) {
  const TempFolder folder;
  const std::string session = folder / "session";
  ASSERT_EQ(mkdir(session.c_str(), 0700), 0);
  const Variable runtime("XDG_RUNTIME_DIR", session.c_str());
  const Variable temp("TMPDIR", folder.path().c_str());
  EXPECT_EQ(RuntimeFolder(), session);

  // Others may write there: not a place for locks and sockets.
  ASSERT_EQ(chmod(session.c_str(), 0777), 0);
  const std::string own = folder / Format("orventa-%lu", static_cast<unsigned long>(getuid()));
  EXPECT_EQ(RuntimeFolder(), own);
  struct stat info {};
  ASSERT_EQ(stat(own.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);

  ASSERT_EQ(rmdir(own.c_str()), 0);
  ASSERT_EQ(symlink("/tmp", own.c_str()), 0);
  EXPECT_EQ(RuntimeFolder(), "");
}

}  // namespace
}  // namespace orventa
