#include "games/targets/known_games.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

#include "base/text.h"
#include "games/targets/engine_marks.h"
#include "games/targets/key_values.h"
#include "games/targets/listed_games.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/temp_folder.h"

namespace orventa {
namespace {

void Put(const std::string& path, const std::string& text = "x") {
  std::filesystem::create_directories(ParentFolder(path));
  std::ofstream(path, std::ios::binary) << text;
}

bool Ask(IKnownGameSource& source, const std::string& path) {
  return source.Knows({path, ToLowerUnicode(path)});
}

TEST(KnownGames, TakesProgramsAndTheirFoldersFromTheListOfInstalledGames) {
  const NamedGames games = InstalledGamesFile::Parse(
      "X\tC:\\Games\\X\\X.exe\tmore\r\nRoot\tC:\\r\\r.exe\t\n\nno tab\none\tC:\\a\\b\\c\\one.exe\n"
      "\t\tC:\\a\\b\\c\\d.exe\nY\t/opt/g/y/y\t\tz");
  const std::pair<const char*, bool> kCases[] = {
      {"c:\\games\\x\\x.exe", true},
      {"c:\\games\\x\\bin\\y.exe", true},
      {"c:\\games\\x\\bin\\xlauncher.exe", false},
      {"c:\\games\\x\\setup\\y.exe", true},
      {"c:\\games\\xy\\y.exe", false},
      {"c:\\games\\x\\", false},
      {"c:\\r\\r.exe", true},
      {"c:\\r\\other.exe", false},
      {"c:\\a\\b\\c\\one.exe", false},
      {"c:\\a\\b\\c\\d.exe", false},
      {"/opt/g/y/bin/z", true},
      {"", false},
  };
  for (const auto& [path, known] : kCases) EXPECT_EQ(games.Knows(path), known) << path;
}

TEST(KnownGames, LooksAtTheListEveryThreeSecondsAndReadsItWhenChanged) {
  FakeClock clock;
  TempFolder temp;
  const std::string path = temp / "games.txt";
  ListedGames games(clock, std::make_unique<InstalledGamesFile>(path));
  const auto knows = [&](const std::string& name) { return Ask(games, "C:\\G\\a\\" + name); };
  EXPECT_FALSE(knows("1.exe"));
  Put(path, "n\tc:\\g\\A\\1.exe\t");
  clock.RunFor(ListedGames::kLookEveryNs - 1);
  EXPECT_FALSE(knows("1.exe"));
  clock.RunFor(1);
  EXPECT_TRUE(knows("1.exe"));
  Put(path, "n\tC:\\b\\2.exe\t");
  EXPECT_TRUE(knows("1.exe"));
  clock.RunFor(ListedGames::kLookEveryNs);
  EXPECT_FALSE(knows("1.exe"));
  Put(path, "n\tC:\\G\\a\\3.exe\t");
  clock.RunFor(ListedGames::kLookEveryNs);
  EXPECT_TRUE(knows("3.exe"));
  std::filesystem::remove(path);
  clock.RunFor(ListedGames::kLookEveryNs);
  EXPECT_FALSE(knows("3.exe"));
}

TEST(KnownGames, SeesTheMarksOfEngines) {
  const struct {
    const char* program;
    const char* beside;  // below the program's folder; "" for nothing
    bool marked;
  } kCases[] = {
      {"a/Game.exe", "UnityPlayer.DLL", true},
      {"a/Game.exe", "unityplayer.so", false},
      {"a/Game", "UnityPlayer.so", true},
      {"a/editor.exe", "UnityPlayer.dll", false},
      {"a/My.Game.exe", "my.game.pck", true},
      {"a/My.Game.exe", "my.pck", false},
      {"a/game.x86_64", "game.pck", true},
      {"a/Game.x86_64", "Game_Data/x", true},
      {"a/Game.exe", "Game_Data/x", false},
      {"a/Game.exe", "sub/steam_api.dll", false},
      {"b/Binaries/Win64/G-Win64-Shipping.exe", "", true},
      {"b/Binaries/Win64/G-WinGDK-Shipping.exe", "", false},
      {"b/Win64/G-Win64-Shipping.exe", "", false},
      {"b/Binaries/Win64/-Win64-Shipping.exe", "", false},
      {"b/Binaries/Linux/G-Linux-Shipping", "", true},
      {"a/none/Game.exe", "", false},
  };
  for (const auto& test : kCases) {
    TempFolder temp;
    const std::string program = temp / test.program;
    if (*test.beside != 0) Put(JoinPath(ParentFolder(program), test.beside));
    EXPECT_EQ(HasGameMarks({program, ToLowerUnicode(program)}), test.marked)
        << test.program << " beside " << test.beside;
  }
  EXPECT_FALSE(HasGameMarks({"game.exe", "game.exe"}));
}

TEST(KnownGames, RemembersSoManyAnswersAboutMarks) {
  TempFolder temp;
  EngineMarks marks;
  const std::string mark = temp / "data.win";
  Put(mark);
  EXPECT_TRUE(Ask(marks, temp / "g.exe"));
  std::filesystem::remove(mark);
  for (size_t i = 1; i <= EngineMarks::kMaxRemembered; ++i) {
    EXPECT_FALSE(Ask(marks, "nofolder" + std::to_string(i)));
  }
  EXPECT_TRUE(Ask(marks, temp / "g.exe"));
  EXPECT_FALSE(Ask(marks, "one more"));
  EXPECT_FALSE(Ask(marks, temp / "g.exe"));
}

TEST(KnownGames, AsksTheSourcesInOrder) {
  struct Source final : IKnownGameSource {
    bool Knows(const ProgramPath& program) override { return program.lower == "c:\\\u00FC.exe"; }
  };
  FakeClock clock;
  TempFolder temp;
  KnownFolders folders;
  folders.local_data = temp.path();
  Put(temp / "programs/games.txt", "n\tC:\\two.exe\t");
  Put(temp / "data.win");
  const auto games = AssembleKnownGames(clock, folders, std::make_unique<Source>());
  EXPECT_TRUE(games->IsKnownGame("C:\\\u00DC.exe"));
  EXPECT_TRUE(games->IsKnownGame("c:\\Two.exe"));
  EXPECT_TRUE(games->IsKnownGame(temp / "three.exe"));
  EXPECT_FALSE(games->IsKnownGame("C:\\four.exe"));
  EXPECT_FALSE(games->IsKnownGame(""));
  EXPECT_FALSE(MakeKnownGames(clock, folders)->IsKnownGame("C:\\four.exe"));
}

TEST(KeyValues, ReadsNestedPairsAndRefusesBrokenOnes) {
  KeyValues file;
  ASSERT_TRUE(
      ParseKeyValues("// \"no\"\n\"App\" [$LINUX]\n{ \"Name\" \"A \\\"b\\\" \\\\c\" bare word "
                     "empty { }\n block{\"k\"v}}",
                     file));
  const KeyValues* const app = file.Find("app");
  ASSERT_NE(app, nullptr);
  EXPECT_EQ(app->Text("NAME"), "A \"b\" \\c");
  EXPECT_EQ(app->Text("bare"), "word");
  EXPECT_EQ(app->Text("none"), "");
  std::string nested;
  for (int i = 0; i < 100; ++i) nested += "a{";
  for (const std::string& text :
       {std::string("a"), std::string("a{"), std::string("}"), std::string("\"a"),
        std::string("a{b}"), std::string("{}"), nested + std::string(100, '}')}) {
    EXPECT_FALSE(ParseKeyValues(text, file)) << text;
    EXPECT_TRUE(file.children.empty());
  }
}

}  // namespace
}  // namespace orventa
