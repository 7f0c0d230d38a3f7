#include "base/files.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "base/clock.h"
#include "base/text.h"
#include "tests/base/child.h"
#include "tests/base/temp_folder.h"

namespace orventa {
namespace {

std::span<const uint8_t> Bytes(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

class FilesTest : public testing::Test {
 protected:
  TempFolder folder_;
};

TEST_F(FilesTest, WritesReadsAndPatches) {
  const std::string path = folder_ / "clip.mp4";
  OutputFile out;
  EXPECT_FALSE(out.IsOpen());
  EXPECT_FALSE(out.Write(Bytes("x")).ok());
  ASSERT_TRUE(out.Create(path).ok());
  ASSERT_TRUE(out.Write(Bytes("0123456789")).ok());
  ASSERT_TRUE(out.WriteAt(2, Bytes("AB")).ok());
  ASSERT_TRUE(out.Write(Bytes("end")).ok());
  ASSERT_TRUE(out.CommitToMedium().ok());

  InputFile in;
  ASSERT_TRUE(in.Open(path).ok());
  uint64_t size = 0;
  ASSERT_TRUE(in.Size(size).ok());
  EXPECT_EQ(size, 13u);
  uint8_t buffer[8] = {};
  size_t read = 99;
  ASSERT_TRUE(in.ReadAt(9, buffer, read).ok());
  EXPECT_EQ(std::string(buffer, buffer + read), "9end");
  ASSERT_TRUE(in.ReadAt(13, buffer, read).ok());
  EXPECT_EQ(read, 0u);
  ASSERT_TRUE(in.ReadAt(uint64_t{1} << 40, buffer, read).ok());
  EXPECT_EQ(read, 0u);

  EXPECT_TRUE(out.Close().ok());
  EXPECT_EQ(ReadBytes(path), "01AB456789end");
  ASSERT_TRUE(CutFile(path, 4).ok());
  EXPECT_FALSE(CutFile(path, 5).ok());
  ASSERT_TRUE(out.Continue(path).ok());
  ASSERT_TRUE(out.Write(Bytes("more")).ok());
  ASSERT_TRUE(out.WriteAt(0, Bytes("x")).ok());
  ASSERT_TRUE(out.Write(Bytes("!")).ok());
  EXPECT_TRUE(out.Close().ok());
  EXPECT_EQ(ReadBytes(path), "x1ABmore!");
  ASSERT_TRUE(out.Create(path).ok());
  EXPECT_EQ(ReadBytes(path), "");
}

TEST_F(FilesTest, AFileThatIsBeingWrittenIsToldApart) {
  const std::string path = folder_ / "recording.mp4";
  OutputFile out;
  ASSERT_TRUE(out.Create(path).ok());
  EXPECT_EQ(CheckNotInUse(path).error, FileError::InUse);
  ASSERT_TRUE(out.Close().ok());
  EXPECT_TRUE(CheckNotInUse(path).ok());
  EXPECT_EQ(CheckNotInUse(folder_ / "absent").error, FileError::NotFound);
}

TEST_F(FilesTest, NamesOfAllScriptsAndLengths) {
  std::string deep = folder_ / "\xC3\xA4 \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x8E\xAE";
  for (int i = 0; i < 6; ++i) deep = JoinPath(deep, std::string(60, static_cast<char>('a' + i)));
  ASSERT_TRUE(CreateFolders(deep).ok());
  ASSERT_TRUE(CreateFolders(deep).ok());
  EXPECT_TRUE(FolderExists(deep));
  const std::string path = JoinPath(deep, "\xE3\x82\xAF\xE3\x83\xAA\xE3\x83\x83\xE3\x83\x97.txt");
  ASSERT_TRUE(WriteFileAtomically(path, "text", KeepBackup::No).ok());
  std::vector<std::string> names;
  ASSERT_TRUE(ListFiles(deep, names).ok());
  EXPECT_EQ(names, std::vector<std::string>{std::string(FileName(path))});
  ASSERT_TRUE(ListFiles(folder_.path(), names).ok());
  EXPECT_TRUE(names.empty());
  EXPECT_TRUE(RemoveFile(path).ok());
  EXPECT_FALSE(FileExists(path));
}

TEST_F(FilesTest, SaysWhatIsWrong) {
  const std::string file = folder_ / "file";
  WriteBytes(file, "x");
  InputFile in;
  OutputFile out;
  std::string text;
  std::vector<std::string> names;
  EXPECT_EQ(in.Open(folder_ / "absent").error, FileError::NotFound);
  EXPECT_EQ(in.Open(folder_ / "absent/file").error, FileError::NotFound);
  EXPECT_EQ(out.Create(folder_ / "absent/file").error, FileError::NotFound);
  EXPECT_EQ(RemoveFile(folder_ / "absent").error, FileError::NotFound);
  EXPECT_EQ(MoveReplacing(folder_ / "absent", file).error, FileError::NotFound);
  EXPECT_EQ(ListFiles(folder_ / "absent", names).error, FileError::NotFound);
  EXPECT_EQ(ReadWholeFile(folder_ / "absent", 10, text).error, FileError::NotFound);
  EXPECT_FALSE(in.Open(folder_.path()).ok());
  EXPECT_FALSE(out.Create(folder_.path()).ok());
  EXPECT_FALSE(CreateFolders(file).ok());
  EXPECT_FALSE(CreateFolders(file + "/below").ok());
  EXPECT_FALSE(FileExists(folder_.path()));
  EXPECT_FALSE(FolderExists(file));
  EXPECT_FALSE(in.Open(folder_ / "absent").Text().empty());
  EXPECT_FALSE(in.Open(folder_ / "absent").Text().ends_with('.'));
}

TEST_F(FilesTest, ReadsWholeFilesUpToTheirLimit) {
  const std::string path = folder_ / "file";
  std::string text;
  for (const size_t size : std::initializer_list<size_t>{0, 1, 4096, 100'000}) {
    const std::string bytes(size, 'b');
    WriteBytes(path, bytes);
    EXPECT_TRUE(ReadWholeFile(path, size, text).ok());
    EXPECT_EQ(text, bytes);
    if (size == 0) continue;
    EXPECT_EQ(ReadWholeFile(path, size - 1, text).error, FileError::Other);
    EXPECT_TRUE(text.empty());
  }
}

TEST_F(FilesTest, AnAtomicWriteKeepsTheGoodFileBefore) {
  const std::string path = folder_ / "config.ini";
  const std::string backup = path + ".bak";
  ASSERT_TRUE(WriteFileAtomically(path, "first", KeepBackup::Yes).ok());
  EXPECT_EQ(ReadBytes(path), "first");
  EXPECT_FALSE(FileExists(backup));
  ASSERT_TRUE(WriteFileAtomically(path, "second", KeepBackup::Yes).ok());
  EXPECT_EQ(ReadBytes(backup), "first");
  ASSERT_TRUE(WriteFileAtomically(path, "third", KeepBackup::No).ok());
  EXPECT_EQ(ReadBytes(backup), "first");
  // Damaged by a power cut: no backup worth having.
  WriteBytes(path, std::string("torn\0\0\0", 7));
  ASSERT_TRUE(WriteFileAtomically(path, "fourth", KeepBackup::Yes).ok());
  EXPECT_EQ(ReadBytes(path), "fourth");
  EXPECT_EQ(ReadBytes(backup), "first");

  std::vector<std::string> names;
  ASSERT_TRUE(ListFiles(folder_.path(), names).ok());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"config.ini", "config.ini.bak"}));
}

TEST_F(FilesTest, AFailedAtomicWriteLeavesEverythingAsItWas) {
  const std::string path = folder_ / "config.ini";
  ASSERT_TRUE(WriteFileAtomically(path, "good", KeepBackup::No).ok());
  ASSERT_TRUE(CreateFolders(path + ".tmp").ok());
  EXPECT_FALSE(WriteFileAtomically(path, "new", KeepBackup::Yes).ok());
  EXPECT_EQ(ReadBytes(path), "good");
  // A folder where the file should go.
  EXPECT_FALSE(WriteFileAtomically(folder_ / "config.ini.tmp", "new", KeepBackup::Yes).ok());
  std::vector<std::string> names;
  ASSERT_TRUE(ListFiles(folder_.path(), names).ok());
  EXPECT_EQ(names, std::vector<std::string>{"config.ini"});
}

TEST_F(FilesTest, FreeSpaceIsOfTheDriveOfTheFolder) {
  const auto space = FreeSpace(folder_.path());
  ASSERT_TRUE(space.has_value());
  EXPECT_GT(*space, 0u);
  EXPECT_TRUE(FreeSpace(folder_ / "not there yet").has_value());
  EXPECT_FALSE(FreeSpace(folder_ / "absent/absent/file").has_value());
}

TEST_F(FilesTest, TheStampChangesWithEveryReplacement) {
  const std::string path = folder_ / "file";
  EXPECT_EQ(LastWriteStamp(path), std::nullopt);
  const auto clock = MakeSystemClock();
  std::optional<uint64_t> last;
  for (int i = 0; i < 5; ++i) {
    ASSERT_TRUE(WriteFileAtomically(path, std::to_string(i), KeepBackup::No).ok());
    const auto stamp = LastWriteStamp(path);
    ASSERT_TRUE(stamp.has_value());
    EXPECT_NE(stamp, last);
    EXPECT_EQ(LastWriteStamp(path), stamp);
    last = stamp;
    clock->SleepUntil(clock->SteadyNs() + 20 * kNsPerMs);
  }
}

const std::string& Content(int which) {
  static const std::string kFirst(40'000, 'A');
  static const std::string kSecond(70'001, 'B');
  return which % 2 == 0 ? kFirst : kSecond;
}

bool IsWhole(const std::string& text) {
  return text == Content(0) || text == Content(1);
}

TEST(FilesChild, DISABLED_RewritesForEver) {
  const std::string path = JoinPath(ChildFolder(), "config.ini");
  int written = 0;
  for (int i = 0;; ++i) {
    if (!WriteFileAtomically(path, Content(i), KeepBackup::Yes).ok()) continue;
    if (++written == 4) LeaveSign(JoinPath(ChildFolder(), "writes"));
  }
}

TEST_F(FilesTest, AReaderBesideAKilledWriterAlwaysFindsAWholeFile) {
  const std::string path = folder_ / "config.ini";
  const auto clock = MakeSystemClock();
  ASSERT_TRUE(WriteFileAtomically(path, Content(0), KeepBackup::No).ok());
  for (uint64_t round = 0; round < 6; ++round) {
    const auto child = StartChild("FilesChild.DISABLED_RewritesForEver", folder_.path());
    ASSERT_TRUE(AwaitSign(folder_ / "writes"));
    const uint64_t until = clock->SteadyNs() + (5 + 7 * round) * kNsPerMs;
    std::string text;
    while (clock->SteadyNs() < until) {
      const FileResult result = ReadWholeFile(path, 1'000'000, text);
      ASSERT_TRUE(result.ok()) << result.Text();
      ASSERT_TRUE(IsWhole(text));
    }
    child->Kill();
    while (child->IsRunning()) clock->SleepUntil(clock->SteadyNs() + kNsPerMs);
    EXPECT_TRUE(IsWhole(ReadBytes(path)));
    EXPECT_TRUE(IsWhole(ReadBytes(path + ".bak")));
    ASSERT_TRUE(RemoveFile(folder_ / "writes").ok());
  }
}

}  // namespace
}  // namespace orventa
