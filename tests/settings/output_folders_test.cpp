#include "settings/output_folders.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/fakes/fake_clock.h"
#include "tests/fakes/temp_folder.h"

namespace orventa {
namespace {

void PutFile(const std::string& path) {
  std::ofstream(std::filesystem::path(std::u8string(path.begin(), path.end()))) << "x";
}

class OutputFolders : public testing::Test {
 protected:
  OutputFolders() {
    folders_.videos = temp_ / "videos";
    folders_.pictures = temp_ / "pictures";
    folders_.program = temp_ / "program";
  }

  OutputPath Resolve(const std::string& game, OutputKind kind = OutputKind::Replay) {
    OutputPath out;
    const Status status =
        ResolveOutputPath(config_, folders_, clock_, {kind, "mp4", kWallMs, game}, out);
    EXPECT_TRUE(status.ok()) << status.ToString();
    return out;
  }

  // 2009-02-03 04:05:06 UTC.
  static constexpr int64_t kWallMs = 1'233'633'906'789;

  TempFolder temp_;
  FakeClock clock_;
  KnownFolders folders_;
  Config config_;
};

TEST_F(OutputFolders, TakesTheConfiguredFolderThenTheDefaultThenTheProgramsOwn) {
  // The folder, and behind a bar what it stands in for; or the failure.
  const auto folder = [&](OutputKind kind) {
    OutputFolder out;
    const Status status = ResolveOutputFolder(config_, folders_, clock_, kind, out);
    if (!status.ok()) return status.ToString();
    EXPECT_TRUE(TempFolder::Names(out.path).empty()) << "no test file stays";
    return out.path + "|" + out.fallback;
  };
  const std::string replays = JoinPath(folders_.videos, "ORVENTA");
  EXPECT_EQ(folder(OutputKind::Screenshot),
            JoinPath(folders_.pictures, "ORVENTA Screenshots") + "|");
  EXPECT_EQ(folder(OutputKind::Recording), replays + "|");
  std::string& configured = config_.storage.replay.directory;
  configured = temp_ / "clips/deep";
  EXPECT_EQ(folder(OutputKind::Replay), configured + "|");

  configured = temp_ / "file";
  PutFile(configured);
  const std::string no_folder = "|could not write to " + configured + "; falling back to ";
  EXPECT_EQ(folder(OutputKind::Replay), replays + no_folder + "default folder for this kind");
  folders_.videos = temp_ / "file/below";
  EXPECT_EQ(folder(OutputKind::Replay), JoinPath(folders_.program, "Recordings") + no_folder +
                                            "Recordings folder beside the program");
  folders_.program = configured;
  EXPECT_TRUE(folder(OutputKind::Replay)
                  .starts_with("InvalidArgument: no writable output directory: " + configured));
  folders_ = {};
  configured.clear();
  EXPECT_EQ(folder(OutputKind::Replay), "InvalidArgument: no writable output directory");
}

TEST_F(OutputFolders, PutsEachGameIntoItsFolder) {
  const std::string root = JoinPath(folders_.videos, "ORVENTA");
  const std::string name = "ORVENTA Replay 03-02-2009 04-05-06.mp4";
  const OutputPath out = Resolve("Half: Life?");
  EXPECT_EQ(out.path, JoinPath(JoinPath(root, "Half_ Life_"), name));
  EXPECT_EQ(out.folder, root);
  EXPECT_EQ(Resolve("").path, JoinPath(root, name));
  EXPECT_EQ(Resolve("..").path, JoinPath(root, name));
  config_.storage.folder_per_game = false;
  EXPECT_EQ(Resolve("Game").path, JoinPath(root, name));
  config_.storage.folder_per_game = true;
  PutFile(JoinPath(root, "Game"));
  EXPECT_EQ(Resolve("Game").path, JoinPath(root, name));
}

TEST_F(OutputFolders, NeverGivesANameThatIsTaken) {
  config_.storage.replay.filename_pattern = "clip.one";
  std::vector<std::string> names;
  for (int i = 0; i < 3; ++i) {
    const OutputPath out = Resolve("");
    names.emplace_back(FileName(out.path));
    PutFile(out.path);
  }
  EXPECT_EQ(names,
            (std::vector<std::string>{"clip.one.mp4", "clip.one (2).mp4", "clip.one (3).mp4"}));

  // Nor one that a recording was given which has no file yet.
  config_.storage.recording.filename_pattern = "clip.two";
  config_.storage.replay.filename_pattern = "clip.two";
  EXPECT_EQ(FileName(Resolve("", OutputKind::Recording).path), "clip.two.mp4");
  EXPECT_EQ(FileName(Resolve("").path), "clip.two (2).mp4");
}

TEST_F(OutputFolders, NamesAreUsableWhateverThePattern) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"%%", "%.mp4"},           {" . ", "ORVENTA.mp4"},     {"NUL", "_NUL.mp4"},
      {"com1.x", "_com1.x.mp4"}, {"console", "console.mp4"}, {"a. . ", "a.mp4"},
      {"../%Y", ".._2009.mp4"},
  };
  for (const auto& [pattern, expected] : cases) {
    config_.storage.replay.filename_pattern = pattern;
    EXPECT_EQ(FileName(Resolve("").path), expected) << pattern;
  }
  config_.storage.replay.filename_pattern = std::string(299, 'x') + "\xC3\xA9";
  const OutputPath out = Resolve(std::string(300, 'g'));
  EXPECT_LT(FileName(out.path).size(), 240U);
  PutFile(out.path);
  EXPECT_TRUE(FileExists(out.path));
}

TEST_F(OutputFolders, NoTimeMeansNow) {
  config_.storage.replay.filename_pattern = "%Y";
  OutputPath out;
  clock_.SetWallMs(1'000'000'000'000);  // 2001
  ASSERT_TRUE(
      ResolveOutputPath(config_, folders_, clock_, {OutputKind::Replay, "mp4", 0, ""}, out).ok());
  EXPECT_EQ(FileName(out.path), "2001.mp4");
}

TEST(ExpandPattern, FillsInTheTime) {
  const LocalTime time{2024, 7, 9, 5, 3, 1, 0};
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"%d-%m-%Y %H-%M-%S", "09-07-2024 05-03-01"},
      {"%y%%%q%", "24%%q%"},
      {"a\\b/c:d*e?f\"g<h>i|j\n", "a_b_c_d_e_f_g_h_i_j_"},
      {"", ""},
      {"\xE3\x81\x82%%d", "\xE3\x81\x82%d"},
  };
  for (const auto& [pattern, expected] : cases) {
    EXPECT_EQ(ExpandPattern(pattern, time), expected) << pattern;
  }
}

TEST(SafeFolderName, KeepsWhatItCan) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"Game", "Game"},
      {"  Game.. ", "Game"},
      {"A/B", "A_B"},
      {"...", ""},
      {"", ""},
      {"aux", "_aux"},
      {"Lpt9.game", "_Lpt9.game"},
      {"con .x", "_con .x"},
      {"Pok\xC3\xA9mon", "Pok\xC3\xA9mon"},
  };
  for (const auto& [name, expected] : cases) {
    EXPECT_EQ(SafeFolderName(name), expected) << name;
  }
  const std::string wide = SafeFolderName(std::string(199, 'x') + "\xE3\x81\x82\xE3\x81\x82");
  EXPECT_EQ(wide, std::string(199, 'x'));
}

}  // namespace
}  // namespace orventa
