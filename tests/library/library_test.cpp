#include "library/library.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "base/files.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/temp_folder.h"

namespace orventa {
namespace {

TEST(WrittenList, ReadsAnyTextAndKeepsWhatIsAFact) {
  const std::string text =
      "\xEF\xBB\xBF"
      "clip=/v/a.mp4\r\n\r\n# no fact\n=/no key\nno path=\nclip=/v/a.mp4\n"
      "match:cs2-17=/v/a.mp4\nkind of tomorrow= /v/b=c.mp4 \nclip=\xFF\xFE";
  const std::vector<WrittenFact> expected = {{"clip", "/v/a.mp4"},
                                             {"match:cs2-17", "/v/a.mp4"},
                                             {"kind of tomorrow", " /v/b=c.mp4 "},
                                             {"clip", "\xFF\xFE"}};
  EXPECT_EQ(ReadWrittenList(text), expected);
  EXPECT_EQ(WrittenListText(ReadWrittenList(text)),
            "clip=/v/a.mp4\nmatch:cs2-17=/v/a.mp4\nkind of tomorrow= /v/b=c.mp4 \nclip=\xFF\xFE\n");
}

class LibraryTest : public testing::Test {
 protected:
  std::string Text(const std::string& ending = {}) {
    std::string text;
    return ReadWholeFile(path_ + ending, 1 << 20, text).ok() ? text : "(no such file)";
  }
  void Put(const std::string& path, std::string_view text) {
    ASSERT_TRUE(CreateFolders(ParentFolder(path)).ok());
    ASSERT_TRUE(WriteFileAtomically(path, text, KeepBackup::No).ok());
  }

  TempFolder temp_;
  FakeClock clock_;
  const std::string path_ = temp_ / "ORVENTA/written.ini";
  Library library_{clock_, path_};
};

TEST_F(LibraryTest, EveryChangeIsInTheFile) {
  ASSERT_TRUE(library_.AddWritten("/v/a.mp4", WrittenKind::Clip).ok());
  ASSERT_TRUE(library_.LinkToMatch("/v/a.mp4", "lol-7").ok());
  ASSERT_TRUE(library_.LinkToMatch("/v/a.mp4", "lol-7").ok());
  ASSERT_TRUE(library_.AddWritten("/v/b.mp4", WrittenKind::Recording).ok());
  ASSERT_TRUE(library_.AddFound("/v/b.mp4", WrittenKind::Replay).ok());
  ASSERT_TRUE(library_.AddFound("/v/s.png", WrittenKind::Screenshot).ok());
  EXPECT_EQ(Text(),
            "clip=/v/a.mp4\nmatch:lol-7=/v/a.mp4\nrecording=/v/b.mp4\nscreenshot=/v/s.png\n");
  // A new file of an old name is another file.
  ASSERT_TRUE(library_.AddWritten("/v/a.mp4", WrittenKind::Replay).ok());
  EXPECT_EQ(Text(), "recording=/v/b.mp4\nscreenshot=/v/s.png\nreplay=/v/a.mp4\n");

  size_t moved = 0;
  ASSERT_TRUE(library_
                  .Move({{"/v/b.mp4", "/v/a.mp4"},
                         {"/v/a.mp4", "/v/b.mp4"},
                         {"/v/s.png", "/w/s.png"},
                         {"/v/unknown.mp4", "/w/s.png"}},
                        moved)
                  .ok());
  EXPECT_EQ(moved, 3U);
  EXPECT_EQ(Text(), "recording=/v/a.mp4\nscreenshot=/w/s.png\nreplay=/v/b.mp4\n");
}

TEST_F(LibraryTest, RefusesWhatNoLineCanHold) {
  const std::string before = Text();
  const struct {
    Status said;
    const char* message;
  } kCases[] = {
      {library_.LinkToMatch("/v/a.mp4", "a=b"), "not a match id: a=b"},
      {library_.LinkToMatch("/v/a.mp4", "a\nb"), "not a match id: a\nb"},
      {library_.LinkToMatch("", "lol-7"), "no path to record"},
      {library_.AddWritten("", WrittenKind::Clip), "no path to record"},
      {library_.AddWritten("/v/a=b.mp4", WrittenKind::Clip),
       "a path with = or a line end cannot be recorded"},
      {library_.AddFound({"/v/\0.mp4", 8}, WrittenKind::Clip),
       "a path with = or a line end cannot be recorded"},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(row.said, Status(StatusCode::InvalidArgument, row.message));
  }
  EXPECT_EQ(Text(), before);
}

TEST_F(LibraryTest, DamageCostsAtMostTheNewestFact) {
  const std::string torn("clip=/v/a.mp4\n\0\0", 16);
  ASSERT_TRUE(library_.AddWritten("/v/a.mp4", WrittenKind::Clip).ok());
  ASSERT_TRUE(library_.AddWritten("/v/b.mp4", WrittenKind::Clip).ok());
  Put(path_, torn);
  ASSERT_TRUE(library_.AddWritten("/v/c.mp4", WrittenKind::Clip).ok());
  EXPECT_EQ(Text(), "clip=/v/a.mp4\nclip=/v/c.mp4\n");

  Put(path_, torn);
  Put(path_ + ".bak", torn);
  ASSERT_TRUE(library_.AddWritten("/v/d.mp4", WrittenKind::Clip).ok());
  EXPECT_EQ(Text(), "clip=/v/d.mp4\n");
  EXPECT_EQ(Text(".damaged"), torn);

  std::filesystem::remove(path_);
  std::filesystem::create_directories(path_ + "/in the way");
  EXPECT_EQ(library_.AddWritten("/v/e.mp4", WrittenKind::Clip),
            Status(StatusCode::InvalidArgument, "cannot read " + path_));
}

TEST_F(LibraryTest, ForgetsFilesButNotDrives) {
  const std::string kept = temp_ / "videos/kept.mp4";
  const std::string gone = temp_ / "videos/gone.mp4";
  const std::string away = temp_ / "drive/away.mp4";
  Put(kept, "x");
  for (const std::string& path : {kept, gone, away}) {
    ASSERT_TRUE(library_.AddWritten(path, WrittenKind::Clip).ok());
  }
  ASSERT_TRUE(library_.LinkToMatch(gone, "rl-1").ok());
  size_t forgotten = 0;
  ASSERT_TRUE(library_.ForgetVanished(forgotten).ok());
  EXPECT_EQ(forgotten, 1U);
  EXPECT_EQ(Text(), "clip=" + kept + "\nclip=" + away + "\n");
}

}  // namespace
}  // namespace orventa
