#include "games/targets/game_list.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/fakes/fake_clock.h"
#include "tests/fakes/temp_folder.h"

namespace orventa {
namespace {

// The lines after the header's comments.
std::string Body(const GameList& list) {
  const std::string text = GameListText(list);
  return text.substr(text.find("\n\n") + 2);
}

TEST(GameList, WritesTheOneFormOfEveryLine) {
  const struct {
    const char* read;
    const char* written;
  } kCases[] = {
      {"game", "any-game\n"},
      {"!Any-Game", "!any-game\n"},
      {"desktop:0\ndesktop:\nDISPLAY", "desktop\ndesktop\ndesktop\n"},
      {"desktop:1\nmonitor: 02", "desktop:1\ndesktop:2\n"},
      {"monitor:DISPLAY\\ABC\\1", "desktop:DISPLAY\\ABC\\1\n"},
      {"desktop:4294967296\ndesktop:-1", "desktop:4294967296\ndesktop:-1\n"},
      {"exe:C:\\a.exe\n\"C:\\a.exe\"\nC:/a.exe\n'\\\\pc\\a.exe'\npath:/usr/games/a",
       "path:\"C:\\a.exe\"\npath:\"C:\\a.exe\"\npath:\"C:/a.exe\"\npath:\"\\\\pc\\a.exe\"\n"
       "path:\"/usr/games/a\"\n"},
      {"Foo: the bar", "window:Foo: the bar\n"},
      {"window:\"Half\"\ntitle : 'Half'\n\"Half\"",
       "window:Half\nwindow:Half\nwindow:\"\"Half\"\"\n"},
      {"exact:\" a \"\nexact:\"", "exact:\" a \"\nexact:\"\n"},
      {"!window:\nexact:''\npath:\"\"\nwindow:x", "window:x\n"},
      {"\xEF\xBB\xBFwindow:x\r\n\r\n; no\r\n  # no\r\n \v!\t window:y\f", "window:x\n!window:y\n"},
      {"window:a.b = c\nwindow:except", "window:a.b = c\nwindow:except\n"},
      {"exception\nexcept\nwindow:except", "window:exception\nwindow:except\n"},
  };
  for (const auto& test : kCases)
    EXPECT_EQ(Body(ParseGameList(test.read)), test.written) << test.read;
}

TEST(GameList, GivesSettingsToTheEntryAddedLast) {
  const GameList list = ParseGameList(
      "  video.fps = 30\n"
      "!window:x\n"
      "\t Video.FPS =  a = B \r\n"
      " entry.record_session = ON\n entry.match_case=yes\n entry.match_case = 2\n"
      "except desktop\n"
      " audio.x.y =\n"
      "except window:z\n"
      " entry.match_case = 1\n video.fps = 1\n"
      " nodot = 1\n .a = 1\n a. = 1\n a .b = 1\n");
  ASSERT_EQ(list.entries.size(), 5u);
  const CaptureTargetEntry& entry = list.entries[0];
  EXPECT_FALSE(entry.enabled);
  EXPECT_TRUE(entry.record_session);
  EXPECT_FALSE(entry.match_case);
  EXPECT_EQ(entry.settings, (std::vector<std::pair<std::string, std::string>>{
                                {"video.fps", "a = B"}, {"audio.x.y", ""}}));
  EXPECT_EQ(list.entries[1].text, "nodot = 1");
  EXPECT_EQ(Body({{entry}, list.exceptions}),
            "!window:x\n    entry.record_session = true\n    video.fps = a = B\n    audio.x.y = \n"
            "\n# Never adopted by any-game. Listed above in its own right, a program is still "
            "recorded.\nexcept window:z\n    entry.match_case = true\n");
}

TEST(GameList, KeepsExceptionsApartAndFallsBackToTheDefault) {
  for (const char* text :
       {"", "# only this\n", "!", "!Except ", "except:", "except  any-game\nexcept: desktop"}) {
    EXPECT_EQ(ParseGameList(text), DefaultGameList()) << text;
  }
  const GameList list = ParseGameList("!EXCEPT\twindow:Discord\nexcept:exact:x\nexcept C:\\a.exe");
  EXPECT_EQ(list.entries, DefaultGameList().entries);
  ASSERT_EQ(list.exceptions.size(), 3u);
  EXPECT_FALSE(list.exceptions[0].enabled);
  EXPECT_EQ(list.exceptions[0].text, "Discord");
  EXPECT_EQ(list.exceptions[1].kind, TargetKind::Exact);
  EXPECT_EQ(list.exceptions[2].kind, TargetKind::Path);
  EXPECT_EQ(ParseGameList(GameListText(list)), list);
}

// What no file can hold must not become other lines of one.
TEST(GameList, LeavesOutWhatALineCannotHold) {
  GameList list = ParseGameList("window:a");
  list.entries[0].text = "a\n!window:b";
  list.entries.emplace_back().kind = TargetKind::Path;
  EXPECT_EQ(Body(list), "window:a !window:b\n");
}

// The comment is what people and other programs know the file by. Its sum (FNV-1a)
// was taken from a text put together by hand, not from this one.
TEST(GameList, WritesItsHeaderByteForByte) {
  const std::string text = GameListText(DefaultGameList());
  EXPECT_EQ(text.size(), 2257u);
  uint64_t sum = 0xCBF29CE484222325;
  for (const char byte : text) sum = (sum ^ static_cast<uint8_t>(byte)) * 0x100000001B3;
  EXPECT_EQ(sum, 0xEA6AB06425B74C5F) << text;
}

TEST(GameList, NamesEntries) {
  const std::pair<const char*, const char*> kCases[] = {
      {"window:T", "T"},
      {"exact:T", "T"},
      {"path:C:\\a b\\c.exe", "c.exe"},
      {"/home/u/c", "/home/u/c"},
      {"path:/home/u/c", "c"},
      {"any-game", "Game"},
      {"desktop", "Primary display"},
      {"desktop:1", "Display 2"},
      {"desktop:4294967295", "Display 4294967296"},
      {"desktop:\\\\.\\DISPLAY1", "DISPLAY1"},
  };
  for (const auto& [line, name] : kCases) {
    EXPECT_EQ(TargetEntryName(ParseGameList(line).entries[0]), name) << line;
  }
}

class GameListFile : public testing::Test {
 protected:
  void Put(const std::string& name, const std::string& text) {
    std::ofstream(temp_ / name, std::ios::binary) << text;
  }
  // The first entry's text, or its kind's name; with "!" when the file is not current.
  std::string Load() {
    GameList list = ParseGameList("window:kept");
    bool current = true;
    const Status status = LoadGameList(clock_, GameListPath(temp_.path()), list, &current);
    if (!status.ok()) return status.ToString() + " " + list.entries[0].text;
    return (current ? "" : "!") + TargetEntryName(list.entries[0]);
  }

  TempFolder temp_;
  FakeClock clock_;
};

TEST_F(GameListFile, SaysWhereTheListCameFrom) {
  EXPECT_EQ(Load(), "!Game");
  Put("targets.ini", "window:old");
  EXPECT_EQ(Load(), "!old");
  Put("gamelist.ini", "window:new");
  EXPECT_EQ(Load(), "new");
  Put("gamelist.ini", std::string("window:\0", 8));
  EXPECT_EQ(Load(), "!Game");
  Put("gamelist.ini.bak", "window:backup");
  EXPECT_EQ(Load(), "!backup");

  const std::string path = GameListPath(temp_.path());
  ASSERT_TRUE(SaveGameList(ParseGameList("window:saved"), path).ok());
  EXPECT_EQ(Load(), "saved");
  EXPECT_FALSE(SaveGameList(ParseGameList(std::string("window:\0", 8)), path).ok());
  EXPECT_EQ(Load(), "saved");
}

TEST_F(GameListFile, KeepsTheListThatWasWhenReadingFails) {
  std::filesystem::create_directory(temp_ / "gamelist.ini");
  EXPECT_EQ(Load(), "InvalidArgument: cannot read " + GameListPath(temp_.path()) + " kept");
}

}  // namespace
}  // namespace orventa
