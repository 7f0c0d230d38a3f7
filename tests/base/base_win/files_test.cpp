#include "base/files.h"

#include <gtest/gtest.h>

#include "base/base_win/win32.h"
#include "tests/base/temp_folder.h"

namespace orventa {
namespace {

TEST(WinFiles, AFileHeldByAnotherIsInUse) {
  const TempFolder folder;
  WriteBytes(folder / "held", "old");
  WriteBytes(folder / "new", "new");
  WinHandle holder(CreateFileW(SystemPath(folder / "held").c_str(), GENERIC_READ, 0, nullptr,
                               OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(holder.valid());
  InputFile in;
  OutputFile out;
  EXPECT_EQ(in.Open(folder / "held").error, FileError::InUse);
  EXPECT_EQ(out.Create(folder / "held").error, FileError::InUse);
  EXPECT_EQ(MoveReplacing(folder / "new", folder / "held").error, FileError::InUse);
  holder.Reset();
  EXPECT_TRUE(MoveReplacing(folder / "new", folder / "held").ok());
  EXPECT_EQ(ReadBytes(folder / "held"), "new");
}

TEST(WinFiles, AHiddenFileCanBeWrittenAgain) {
  const TempFolder folder;
  const std::string path = folder / "buffer.tmp";
  WriteBytes(path, "old");
  HideFile(path);
  EXPECT_NE(GetFileAttributesW(SystemPath(path).c_str()) & FILE_ATTRIBUTE_HIDDEN, 0u);
  OutputFile out;
  EXPECT_TRUE(out.Create(path).ok());
}

TEST(WinFiles, DevicesUnderFileNamesAreRefused) {
  const TempFolder folder;
  InputFile in;
  OutputFile out;
  EXPECT_FALSE(in.Open("\\\\.\\pipe\\orventa-test-absent").ok());
  EXPECT_FALSE(in.Open("NUL").ok());
  EXPECT_FALSE(out.Create("NUL").ok());
}

TEST(WinFiles, TakesPathsApart) {
  const struct {
    const char* path;
    const char* parent;
    const char* name;
  } kCases[] = {
      {"C:\\a\\b", "C:\\a", "b"},
      {"C:/a/b", "C:/a", "b"},
      {"C:\\a", "C:\\", "a"},
      {"C:\\", "", ""},
      {"C:a", "C:", "a"},
      {"\\\\server\\share\\a", "\\\\server\\share\\", "a"},
      {"\\\\server\\share", "", ""},
      {"\\\\?\\C:\\a\\b", "\\\\?\\C:\\a", "b"},
      {"a\\b", "a", "b"},
      {"a", "", "a"},
  };
  for (const auto& item : kCases) {
    EXPECT_EQ(ParentFolder(item.path), item.parent) << item.path;
    EXPECT_EQ(FileName(item.path), item.name) << item.path;
  }
  EXPECT_EQ(JoinPath("C:\\a", "b"), "C:\\a\\b");
  EXPECT_EQ(JoinPath("C:/", "b"), "C:/b");
}

TEST(WinKnownFolders, AreAllNamed) {
  const KnownFolders folders = FindKnownFolders();
  EXPECT_TRUE(folders.config.ends_with("\\AppData\\Roaming\\ORVENTA")) << folders.config;
  EXPECT_TRUE(folders.local_data.ends_with("\\AppData\\Local\\ORVENTA")) << folders.local_data;
  EXPECT_TRUE(FolderExists(folders.videos)) << folders.videos;
  EXPECT_TRUE(FolderExists(folders.pictures)) << folders.pictures;
  EXPECT_TRUE(FolderExists(folders.temp)) << folders.temp;
  EXPECT_TRUE(FileExists(JoinPath(folders.program, "test_base.exe")));
}

}  // namespace
}  // namespace orventa
