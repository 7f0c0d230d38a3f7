// Settings files through the whole life of the service: first runs, damage, the
// user's edits and the service's own.

#include <gtest/gtest.h>

#include <filesystem>

#include "service/service_state.h"
#include "settings/config_file.h"
#include "settings/schema.h"
#include "tests/service/fake_platform.h"

namespace orventa {
namespace {

using Lines = std::vector<std::string>;

Config ConfigIn(const FakePlatform& platform) {
  Config config;
  ConfigReadOutcome outcome;
  ReadConfigText(platform.ConfigFile("config.ini"), config, outcome);
  return config;
}

class SettingsTest : public testing::Test {
 protected:
  void Write(const std::string& name, const std::string& text) {
    const std::string path = JoinPath(platform.Folder("config"), name);
    EXPECT_TRUE(WriteFileAtomically(path, text, KeepBackup::No).ok());
  }
  void MakeFolder(const std::string& name) {
    std::filesystem::remove(JoinPath(platform.Folder("config"), name));
    ASSERT_TRUE(CreateFolders(JoinPath(platform.Folder("config"), name)).ok());
  }
  // What config.ini says of a setting.
  std::string InFile(const std::string& name) const {
    return SettingText(ConfigIn(platform), name);
  }
  void Command(uint64_t ms, TrayCommand command) {
    platform.PostAfter(ms, ServiceMessage::Command, static_cast<uint64_t>(command));
  }
  void Ask(uint64_t ms, const std::string& verb, const std::string& body) {
    platform.After(ms, [=, this] { answers.push_back(platform.Ask(verb, body)); });
  }
  void NoteSetting(uint64_t ms, const std::string& name) {
    platform.After(
        ms, [=, this] { seen.push_back(SettingText(platform.engine->GetSettings(), name)); });
  }
  size_t Reloads() const { return platform.LogCount("reloading settings"); }

  FakePlatform platform;
  Lines answers;
  Lines seen;  // settings as the engine has them
};

constexpr CodecMeans kNone{};
constexpr CodecMeans kSlow{.encodes = true, .ten_bit = true};
constexpr CodecMeans kFast{.encodes = true, .fast = true};
constexpr CodecMeans kDeep{.encodes = true, .ten_bit = true, .fast = true};

TEST(FirstRun, TakesTheNewestCodecThatRecordsAndPlays) {
  constexpr char kKept[] = "keeping h264, nothing newer both records and plays here";
  const std::array<bool, kCodecCount> all = {true, true, true};
  const struct {
    MachineCodecs codecs;
    std::array<bool, kCodecCount> plays;
    const char* chosen;  // codec, ten_bit, hdr
    std::string log;
  } cases[] = {
      {{kFast, kNone, kNone}, all, "h264 false false", kKept},
      {{kFast, kSlow, kSlow}, all, "h264 false false", kKept},
      {{kFast, kDeep, kDeep}, all, "hevc true true", "defaulting to hevc, 10-bit, hdr"},
      {{kFast, kFast, kDeep}, all, "hevc false false", "defaulting to hevc, 8-bit"},
      {{kFast, kDeep, kDeep},
       {true, false, true},
       "av1 true true",
       "defaulting to av1, 10-bit, hdr"},
  };
  for (const auto& row : cases) {
    FakePlatform platform;
    platform.codecs = row.codecs;
    platform.plays = row.plays;
    for (int run = 0; run < 2; ++run) {
      EXPECT_EQ(platform.RunFor(100), 0);
    }
    EXPECT_EQ(platform.JournalCount("asks what plays"), 1U) << "the first run alone chooses";
    const Config config = ConfigIn(platform);
    for (const std::string block : {"video.", "recording."}) {
      const auto value = [&](const char* key) { return SettingText(config, block + key); };
      EXPECT_EQ(value("codec") + " " + value("ten_bit") + " " + value("hdr"), row.chosen)
          << row.log;
    }
    EXPECT_TRUE(config.screenshot.hdr);
    EXPECT_EQ(platform.LogCount("first run: " + row.log), 1U) << row.log;
    EXPECT_EQ(platform.ConfigFile("gamelist.ini"), GameListText(DefaultGameList()));
  }
}

TEST_F(SettingsTest, ACodecThatThisMachineLacksIsReplacedAndSaid) {
  const struct {
    MachineCodecs codecs;
    const char* wish;
    const char* codec;
    const char* ten_bit;
  } cases[] = {
      {{kFast, kDeep, kNone}, "av1", "hevc", "true"},
      {{kFast, kFast, kNone}, "av1", "hevc", "false"},
      {{kFast, kSlow, kNone}, "av1", "h264", "false"},
      {{kFast, kSlow, kNone}, "hevc", "hevc", "true"},  // slow, but the user's choice
      {{kNone, kNone, kDeep}, "h264", "av1", "true"},
      {{kNone, kNone, kNone}, "av1", "av1", "true"},  // kept for a better day
  };
  for (const auto& row : cases) {
    FakePlatform machine;
    machine.codecs = row.codecs;
    const std::string text = std::string("[video]\nten_bit = true\ncodec = ") + row.wish + "\n";
    ASSERT_TRUE(
        WriteFileAtomically(machine.Folder("config/config.ini"), text, KeepBackup::No).ok());
    EXPECT_EQ(machine.RunFor(100), 0);
    const Config config = ConfigIn(machine);
    EXPECT_EQ(SettingText(config, "video.codec"), row.codec) << row.wish;
    EXPECT_EQ(SettingText(config, "video.ten_bit"), row.ten_bit) << row.wish;
    EXPECT_EQ(machine.LogCount(std::string("codec: this GPU cannot encode ") + row.wish +
                               ", using " + row.codec) != 0,
              std::string(row.wish) != row.codec);
  }
}

TEST_F(SettingsTest, DamagedFilesAreReplacedAndTold) {
  const std::string damage("[video]\n\0\0\0", 11);
  for (const bool with_backup : {true, false}) {
    Write("config.ini", damage);
    Write("gamelist.ini", damage);
    if (with_backup) {
      Write("config.ini.bak", "[video]\nfps = 30\n");
      Write("gamelist.ini.bak", "window:Blocks\n");
    } else {
      std::filesystem::remove(platform.Folder("config/config.ini.bak"));
      std::filesystem::remove(platform.Folder("config/gamelist.ini.bak"));
    }
    NoteSetting(100, "video.fps");
    EXPECT_EQ(platform.RunFor(200), 0);
    EXPECT_EQ(InFile("video.fps"), with_backup ? "30" : "60");
    const bool blocks =
        platform.ConfigFile("gamelist.ini").find("\nwindow:Blocks\n") != std::string::npos;
    EXPECT_EQ(blocks, with_backup);
    for (const std::string name : {"config.ini", "gamelist.ini"}) {
      EXPECT_EQ(platform.LogCount(
                    with_backup ? name + " is damaged, so its backup " + name + ".bak was taken"
                                : name + " is damaged and there is no good backup, so the "
                                         "defaults were taken"),
                1U)
          << name;
    }
  }
  EXPECT_EQ(seen, (Lines{"30", "60"}));
}

TEST_F(SettingsTest, AFileThatStaysUnreadableEndsTheStartAtItsDeadline) {
  MakeFolder("config.ini");
  const uint64_t began_ns = platform.clock.SteadyNs();
  EXPECT_EQ(platform.Run(), 1);
  const uint64_t took_ms = (platform.clock.SteadyNs() - began_ns) / kNsPerMs;
  EXPECT_EQ(platform.dialogs, (Lines{"Could not read the settings file."}));
  EXPECT_TRUE(took_ms >= 2000 && took_ms < 4000) << took_ms;
  EXPECT_EQ(platform.JournalCount("makes loop"), 0U);

  EXPECT_EQ(platform.Run({"--autostart"}), 1);
  EXPECT_EQ(platform.dialogs.size(), 1U);
  EXPECT_GE(platform.clock.SteadyNs() - began_ns, 22 * kNsPerSecond);
}

TEST_F(SettingsTest, TheCommandLineHoldsForTheRunAndIsNeverWritten) {
  NoteSetting(100, "video.fps");
  Command(200, TrayCommand::ToggleMicrophone);
  Ask(300, "SET_CONFIG", "video.fps=144");
  NoteSetting(500, "video.fps");
  NoteSetting(500, "audio.microphone");
  GameList list;
  platform.After(600, [&] { list = platform.engine->game_list(); });
  EXPECT_EQ(platform.RunFor(700, {"--set", "video.fps=30", "--window", "Blocks"}), 0);
  EXPECT_EQ(seen, (Lines{"30", "30", "true"}));
  EXPECT_EQ(InFile("video.fps"), "144");
  EXPECT_NE(answers.at(0).find("\nnote=video.fps is given on the command line, which holds for "
                               "this run\n"),
            std::string::npos);
  ASSERT_EQ(list.entries.size(), 1U);
  EXPECT_EQ(list.entries[0].text, "Blocks");
  EXPECT_EQ(platform.ConfigFile("gamelist.ini"), "(no such file)");
}

TEST_F(SettingsTest, SwitchesAreWrittenAppliedAndTold) {
  Write("config.ini", "[audio]\nmicrophone_volume = 97\n[hotkeys]\nmicrophone_step = 0\n");
  const struct {
    TrayCommand command;
    const char* setting;
    const char* value;
    const char* notice;
  } cases[] = {
      {TrayCommand::ToggleAudio, "audio.enabled", "false", "System audio off"},
      {TrayCommand::ToggleAudio, "audio.enabled", "true", "System audio on"},
      {TrayCommand::ToggleMicrophone, "audio.microphone", "true", "Microphone on"},
      {TrayCommand::ToggleMicrophone, "audio.microphone", "false", "Microphone off"},
      {TrayCommand::MicrophoneLouder, "audio.microphone_volume", "100", "Microphone volume 100%"},
      {TrayCommand::MicrophoneLouder, "audio.microphone_volume", "100", "Microphone volume 100%"},
      {TrayCommand::MicrophoneQuieter, "audio.microphone_volume", "95", "Microphone volume 95%"},
      {TrayCommand::ToggleMicrophoneMono, "audio.microphone_mono", "true", "Microphone volume 95%"},
  };
  Lines expected;
  Lines expected_notices;
  uint64_t ms = 1000;
  for (const auto& row : cases) {
    Command(ms, row.command);
    NoteSetting(ms + 50, row.setting);
    platform.NoteAfter(ms + 50);
    expected.emplace_back(row.value);
    expected_notices.emplace_back(row.notice);
    ms += 1000;
  }
  platform.NoteAfter(ms, {"notice_seq"});
  expected_notices.emplace_back("6");  // no change is no news
  EXPECT_EQ(platform.RunFor(ms + 5000, {"--from-window"}), 0);
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(platform.notes, expected_notices);
  EXPECT_EQ(InFile("audio.microphone_volume"), "95");
  EXPECT_EQ(Reloads(), 7U) << "one a change, and none for the file having changed";
}

TEST_F(SettingsTest, ASwitchWaitsForNobodyWhoKeepsWriting) {
  platform.After(1500, [&] { Write("config.ini", std::string("half\0", 5)); });
  Command(1510, TrayCommand::ToggleMicrophone);
  platform.NoteAfter(1950);
  EXPECT_EQ(platform.RunFor(1960), 0);
  EXPECT_EQ(platform.LogCount("settings: config.ini kept changing, change not saved"), 1U);
  EXPECT_EQ(platform.notes, (Lines{"Could not write the settings file."}));
  EXPECT_EQ(platform.ConfigFile("config.ini"), std::string("half\0", 5));
}

TEST_F(SettingsTest, APauseIsRememberedWhenAskedFor) {
  Write("config.ini", "[service]\nremember_pause = true\n");
  Command(100, TrayCommand::TogglePause);
  EXPECT_EQ(platform.RunFor(200), 0);
  EXPECT_EQ(InFile("service.paused"), "true");
  EXPECT_EQ(platform.RunFor(100), 0);
  EXPECT_EQ(platform.LogCount("replay starts paused (remembered from last run)"), 1U);
}

TEST_F(SettingsTest, SetConfigTakesAllLinesOrNone) {
  const struct {
    const char* body;
    const char* answer;
  } refused[] = {
      {"video.fps=30\nnonsense", "expected section.key=value, got: nonsense"},
      {"video.fps=30\nvideo.colour=3", "unknown setting: video.colour"},
      {"video.fps=30\nfps=3", "unknown setting: fps"},
      {"Service.Profile = x", "the profile is changed by switching to it, not set"},
  };
  for (const auto& row : refused) Ask(100, "SET_CONFIG", row.body);
  std::string before;
  platform.After(150, [&] { before = platform.ConfigFile("config.ini"); });
  Ask(200, "SET_CONFIG",
      "# a comment\r\n\r\n Video.FPS = 30\r\nrecording.fps=900\nvideo.resolution=7\n"
      "game_events.port=70000");
  NoteSetting(300, "video.fps");
  EXPECT_EQ(platform.RunFor(6000), 0);
  for (size_t i = 0; i < std::size(refused); ++i) {
    EXPECT_EQ(answers.at(i), std::string("ERR InvalidArgument ") + refused[i].answer);
  }
  const std::string& answer = answers.back();
  EXPECT_TRUE(answer.starts_with("OK\nsettings_before=")) << answer;
  const size_t warning =
      answer.find("\nwarning=A setting was out of range, so it was corrected.\n");
  ASSERT_NE(warning, std::string::npos) << answer;
  EXPECT_EQ(answer.find("\nwarning=", warning + 1), std::string::npos) << "said once: " << answer;
  EXPECT_LT(answer.find("\nnote=ignored, game_events.port cannot be "), warning) << answer;
  EXPECT_EQ(seen, (Lines{"30"}));
  EXPECT_EQ(InFile("recording.fps"), "60");
  EXPECT_EQ(platform.ConfigFile("config.ini.bak"), before);
  EXPECT_EQ(Reloads(), 1U);
}

TEST_F(SettingsTest, TheGameListIsAnsweredWrittenAndTakenOver) {
  Ask(100, "SET_GAMELIST", "exe:C:\\a.exe\n!Some: title\n");
  Ask(200, "GET_GAMELIST", "");
  Ask(200, "GET_CONFIG", "");
  Ask(200, "TARGETS", "");
  GameList list;
  platform.After(300, [&] { list = platform.engine->game_list(); });
  // In the way of the next write, and of the next reading.
  platform.After(400, [&] { MakeFolder("gamelist.ini"); });
  Ask(450, "SET_GAMELIST", "desktop");
  platform.NoteAfter(3500);
  platform.After(3600, [&] { EXPECT_EQ(platform.engine->game_list(), list); });
  EXPECT_EQ(platform.RunFor(4000), 0);
  EXPECT_EQ(answers.at(0), "OK");
  EXPECT_TRUE(answers.at(1).ends_with("\npath:\"C:\\a.exe\"\n!window:Some: title\n"))
      << answers.at(1);
  EXPECT_EQ(answers.at(2), "OK\n" + platform.ConfigFile("config.ini"));
  EXPECT_EQ(answers.at(3), "OK\ntold\n");
  EXPECT_EQ(answers.at(4), "ERR InvalidArgument cannot write the game list");
  EXPECT_EQ(list.entries.size(), 2U);
  EXPECT_EQ(platform.notes, (Lines{"Could not read the game list."}));
}

TEST_F(SettingsTest, AReloadThatFailsLeavesTheRunningSettings) {
  Write("config.ini", "[video]\nfps = 30\n");
  platform.After(1500, [&] {
    std::filesystem::remove(platform.Folder("config/config.ini.bak"));
    Write("config.ini", std::string("\0", 1));
  });
  platform.NoteAfter(5000);
  NoteSetting(5000, "video.fps");
  Ask(5000, "GET_CONFIG", "");
  Command(5500, TrayCommand::ToggleMicrophone);
  EXPECT_EQ(platform.RunFor(6000), 0);
  EXPECT_EQ(InFile("video.fps"), "30") << "the file is whole again, from what ran";
  EXPECT_EQ(InFile("audio.microphone"), "true");
  EXPECT_EQ(platform.notes, (Lines{"Could not read the settings file."}));
  EXPECT_EQ(seen, (Lines{"30"}));
  EXPECT_EQ(answers, (Lines{"OK"}));
}

TEST_F(SettingsTest, AnUpdateIsToldOnce) {
  const struct {
    const char* seen_version;
    const char* note;
  } cases[] = {{"", "0 "},
               {"0.0.9", "1 ORVENTA has updated to " ORVENTA_VERSION "."},
               {ORVENTA_VERSION, "0 "},
               {"99.1", "0 "}};
  for (const auto& row : cases) {
    Write("config.ini", std::string("[updates]\nlast_version_seen = ") + row.seen_version + "\n");
    platform.NoteAfter(100, {"notice_seq", "notice"});
    EXPECT_EQ(platform.RunFor(200, {"--from-window"}), 0);
    EXPECT_EQ(platform.notes.back(), row.note) << row.seen_version;
    EXPECT_EQ(InFile("updates.last_version_seen"), ORVENTA_VERSION);
  }
}

TEST_F(SettingsTest, CheckingAFileStartsAndChangesNothing) {
  EXPECT_EQ(platform.Run({"--check-config"}), 2);
  EXPECT_TRUE(platform.printed.starts_with("cannot read ")) << platform.printed;
  platform.printed.clear();
  Write("config.ini", ConfigText(Config()));
  EXPECT_EQ(platform.Run({"--check-config"}), 0);
  EXPECT_EQ(platform.printed, "config.ini: nothing to correct\n");
  platform.printed.clear();
  Write("mine.ini", "[video]\nfps = 900\nhdr = fast\n[colours]\nred = 1\n");
  EXPECT_EQ(platform.Run({"--check-config", platform.Folder("config/mine.ini")}), 1);
  for (const char* line : {"mine.ini:2: ", "mine.ini:3: ", "mine.ini:5: "}) {
    EXPECT_NE(platform.printed.find(line), std::string::npos) << platform.printed;
  }
  EXPECT_TRUE(platform.journal.empty());
  EXPECT_EQ(TempFolder::Names(platform.Folder("config")), (Lines{"config.ini", "mine.ini"}));
}

}  // namespace
}  // namespace orventa
