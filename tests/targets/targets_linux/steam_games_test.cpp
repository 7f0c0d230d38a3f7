#include "games/targets/targets_linux/steam_games.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "base/files.h"
#include "base/text.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/temp_folder.h"

namespace orventa {
namespace {

std::string ManifestText(const std::string& name, const std::string& folder,
                         const std::string& state = "4") {
  return "\"AppState\"\n{\n\t\"appid\"\t\t\"1\"\n\t\"name\"\t\t\"" + name +
         "\"\n\t\"StateFlags\"\t\t\"" + state + "\"\n\t\"installdir\"\t\t\"" + folder +
         "\"\n\t\"UserConfig\"\n\t{\n\t\t\"language\"\t\t\"english\"\n\t}\n}\n";
}

TEST(SteamGames, TakesInstalledGamesFromManifests) {
  const struct {
    std::string text;
    std::string folder;  // empty: none
  } kCases[] = {
      {ManifestText("Game", "Some Game"), "Some Game"},
      {ManifestText("Game", "Some Game", "6"), "Some Game"},
      {ManifestText("Game", "Some Game", "1026"), ""},
      {ManifestText("Proton 8.0", "Proton 8.0"), ""},
      {ManifestText("Protonium", "Protonium"), "Protonium"},
      {ManifestText("Steam Linux Runtime 3.0 (sniper)", "SteamLinuxRuntime_sniper"), ""},
      {ManifestText("Steamworks Common Redistributables", "Steamworks Shared"), ""},
      {ManifestText("Evil", "../.."), ""},
      {ManifestText("Evil", ".."), ""},
      {ManifestText("None", ""), ""},
      {"\"AppState\" { \"installdir\" \"x\"", ""},
      {"", ""},
  };
  for (const auto& test : kCases) {
    EXPECT_EQ(GameFolderOfManifest(test.text).value_or(""), test.folder) << test.text;
  }
}

class SteamFolders : public testing::Test {
 protected:
  void Put(const std::string& name, const std::string& text) {
    const std::string path = temp_ / name;
    std::filesystem::create_directories(ParentFolder(path));
    std::ofstream(path + ".new") << text;
    std::filesystem::rename(path + ".new", path);
  }
  bool Knows(const std::string& name) {
    clock_.RunFor(ListedGames::kLookEveryNs);
    const std::string path = temp_ / name;
    return games_.Knows({path, ToLowerUnicode(path)});
  }

  TempFolder temp_;
  FakeClock clock_;
  ListedGames games_{clock_, std::make_unique<SteamGames>(SteamRoots(temp_.path(), ""))};
};

TEST_F(SteamFolders, KnowsProgramsInEveryLibraryAndNoticesChanges) {
  EXPECT_FALSE(Knows("lib/steamapps/common/Two/bin/two"));
  Put(".local/share/Steam/steamapps/appmanifest_1.acf", ManifestText("One", "One"));
  Put("lib/steamapps/appmanifest_2.acf", ManifestText("Two", "Two"));
  Put("old/steamapps/appmanifest_3.acf", ManifestText("Three", "Three"));
  std::filesystem::create_directory(temp_ / ".steam");
  std::filesystem::create_directory_symlink(temp_ / ".local/share/Steam", temp_ / ".steam/steam");
  std::filesystem::create_directory_symlink(temp_ / "lib", temp_ / "link");
  Put(".local/share/Steam/steamapps/libraryfolders.vdf",
      "\"libraryfolders\" { \"TimeNextStatsReport\" \"/x\" \"0\" { \"path\" \"" + (temp_ / "link") +
          "\" \"apps\" { \"2\" \"9\" } } \"1\" \"" + (temp_ / "old") + "\" \"2\" \"relative\" }");
  EXPECT_TRUE(Knows(".local/share/Steam/steamapps/common/One/one.x86_64"));
  EXPECT_TRUE(Knows("lib/steamapps/common/Two/bin/two"));
  EXPECT_TRUE(Knows("old/steamapps/common/three/Game.exe"));
  EXPECT_FALSE(Knows("old/steamapps/common/Three/UnityCrashHandler64.exe"));
  EXPECT_FALSE(Knows("old/steamapps/common/Four/four"));
  EXPECT_FALSE(Knows("old/steamapps/common/two"));

  Put("old/steamapps/appmanifest_4.acf", ManifestText("Four", "Four"));
  Put("old/steamapps/appmanifest_3.acf", ManifestText("Three", "Three", "1"));
  EXPECT_TRUE(Knows("old/steamapps/common/Four/four"));
  EXPECT_FALSE(Knows("old/steamapps/common/Three/Game.exe"));
}

}  // namespace
}  // namespace orventa
