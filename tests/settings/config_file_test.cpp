#include "settings/config_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "base/files.h"
#include "base/text.h"
#include "settings/schema.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/temp_folder.h"

namespace orventa {
namespace {

class ConfigFile : public testing::Test {
 protected:
  void Put(const std::string& path, const std::string& text) {
    ASSERT_TRUE(WriteFileAtomically(path, text, KeepBackup::No).ok());
  }
  std::string Get(const std::string& path) {
    std::string text;
    EXPECT_TRUE(ReadWholeFile(path, 1 << 20, text).ok()) << path;
    return text;
  }
  Status Read() { return ReadConfig(clock_, path_, config_, outcome_); }

  TempFolder temp_;
  FakeClock clock_;
  std::string path_ = temp_ / "ORVENTA/config.ini";
  Config config_;
  ConfigReadOutcome outcome_;
};

TEST_F(ConfigFile, KeepsTheOneBefore) {
  config_.video.fps = 30;
  ASSERT_EQ(WriteConfig(config_, path_), Status::Ok());  // makes the folder
  EXPECT_EQ(TempFolder::Names(temp_ / "ORVENTA"), std::vector<std::string>{"config.ini"});
  const std::string first = Get(path_);
  config_.video.fps = 50;
  ASSERT_EQ(WriteConfig(config_, path_), Status::Ok());
  EXPECT_EQ(Get(path_ + ".bak"), first);
  ASSERT_EQ(WriteConfig(config_, path_), Status::Ok());
  EXPECT_EQ(Get(path_), Get(path_ + ".bak"));
  EXPECT_EQ(TempFolder::Names(temp_ / "ORVENTA"),
            (std::vector<std::string>{"config.ini", "config.ini.bak"}));
}

TEST_F(ConfigFile, SaysWhatCannotBeReadOrWritten) {
  ASSERT_EQ(Read(), Status::Ok());
  EXPECT_FALSE(outcome_.existed);
  EXPECT_EQ(config_, Config());

  std::filesystem::create_directories(path_);  // a folder of that name
  config_.video.fps = 30;
  const uint64_t began_ns = clock_.SteadyNs();
  EXPECT_EQ(Read(), Status(StatusCode::InvalidArgument, "cannot read " + path_));
  EXPECT_EQ(clock_.SteadyNs() - began_ns, 500 * kNsPerMs);
  EXPECT_EQ(config_.video.fps, 30U);  // untouched
  EXPECT_EQ(WriteConfig(config_, path_),
            Status(StatusCode::InvalidArgument, "cannot write " + path_));
  EXPECT_EQ(TempFolder::Names(temp_ / "ORVENTA"), std::vector<std::string>{"config.ini"});
}

TEST_F(ConfigFile, FallsBackOnItsBackupWhenDamaged) {
  const std::string torn("[video]\nfps = 30\n\0\0\0", 20);
  const std::string good = "[video]\nfps = 50\n";
  const std::string long_one(5 << 20, 'x');
  std::string wide = "\xFF\xFE";
  for (const char c : good) wide += {c, '\0'};
  const struct {
    const char* what;
    const std::string* file;
    const std::string* backup;
    bool existed;
    bool from_backup;
    uint32_t fps;
  } kCases[] = {
      {"sound", &good, nullptr, true, false, 50},
      {"torn", &torn, &good, true, true, 50},
      {"both torn", &torn, &torn, false, false, 60},
      {"torn, alone", &torn, nullptr, false, false, 60},
      {"far too long", &long_one, &good, true, true, 50},
      {"saved as UTF-16", &wide, &torn, true, false, 50},
  };
  ASSERT_TRUE(CreateFolders(ParentFolder(path_)).ok());
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.what);
    Put(path_, *c.file);
    (void)RemoveFile(path_ + ".bak");
    if (c.backup != nullptr) Put(path_ + ".bak", *c.backup);
    ASSERT_EQ(Read(), Status::Ok());
    EXPECT_EQ(outcome_.existed, c.existed);
    EXPECT_EQ(outcome_.from_backup, c.from_backup);
    EXPECT_TRUE(outcome_.rewrite);
    EXPECT_EQ(config_.video.fps, c.fps);
  }
  // Writing it back does not make the damaged file the backup.
  Put(path_, torn);
  Put(path_ + ".bak", good);
  ASSERT_EQ(WriteConfig(config_, path_), Status::Ok());
  EXPECT_EQ(Get(path_ + ".bak"), good);
}

TEST_F(ConfigFile, KeepsWhatItDoesNotKnowAndDropsWhatIsGone) {
  ReadConfigText(
      "\xEF\xBB\xBF[storage]\r\nfolder_per_game = no\r\n\r\nstray\nb = 1\n[Unknown]\nKey = A\nkey "
      "= B\n"
      "[service]\nwritten_by = x\n[]\nc = 1\n[unknown]\nb=\n",
      config_, outcome_);
  EXPECT_FALSE(config_.storage.folder_per_game);
  EXPECT_EQ(outcome_.unknown, (std::vector<std::string>{"storage.b", "unknown.key", "unknown.key",
                                                        "service.written_by", "unknown.b"}));
  const std::string text = ConfigText(config_);
  EXPECT_TRUE(
      text.ends_with("\n\n# Settings written by a newer ORVENTA. This build does not know what\n"
                     "# they mean, so it leaves them alone rather than dropping them.\n"
                     "[storage]\nb = 1\n[unknown]\nkey = B\nb = \n"))
      << text.substr(text.size() - 300);
  EXPECT_EQ(text.find("written_by"), std::string::npos);
}

TEST_F(ConfigFile, LetsNoValueBeginALineOfItsOwn) {
  config_.audio.apps = " a\nfps = 1\r\n[video]";
  config_.foreign = {{"x\ny", "k\nz", "v\n[video]\nfps = 1"}};
  config_.game_event_actions = {{"odd.event", "none\n[video]\nfps = 1"}};
  Config read;
  ReadConfigText(ConfigText(config_), read, outcome_);
  EXPECT_EQ(read.audio.apps, "a fps = 1  [video]");
  EXPECT_EQ(read.video.fps, 60U);
  EXPECT_EQ(read.foreign.size(), 1U);
}

TEST_F(ConfigFile, HasItsOrder) {
  // Every section with its keys.
  std::map<std::string, std::string, std::less<>> keys;
  std::string sections;
  std::string section;
  const std::string text = ConfigText(config_);
  for (const std::string_view line : Split(text, '\n')) {
    if (line.starts_with('[')) sections += section = line;
    const size_t equals = line.find(" =");
    if (line.starts_with('#') || equals == std::string_view::npos) continue;
    keys[section].append(" ").append(line.substr(0, equals));
  }
  EXPECT_EQ(sections,
            "[storage][screenshot][video][recording][replay][audio][capture][webcam][game_events]"
            "[game_event_actions][input_overlay][captions][overlays][hotkeys][service][window]"
            "[updates][notifications]");
  const std::string video =
      " codec ten_bit hdr bitrate_kbps bitrate_auto max_bitrate_percent rate_control fps "
      "resolution preset_h264 preset_hevc preset_av1 keyframe_interval_seconds "
      "adaptive_quantization preset_name";
  EXPECT_EQ(keys["[video]"], video + " adapter");
  EXPECT_EQ(keys["[recording]"], " use_video_settings" + video);
  EXPECT_EQ(keys["[replay]"], " duration_seconds max_memory_mb max_memory_limited storage");
  EXPECT_TRUE(keys["[hotkeys]"].ends_with(" microphone_step push_to_talk allow_duplicates method"));
}

TEST_F(ConfigFile, IsItsOwnManual) {
  const std::string text = ConfigText(config_);
  EXPECT_TRUE(text.starts_with(
      "# ORVENTA CONFIGURATION\n#\n"
      "# Edit by hand or through the app. Lines starting with # are comments.\n"
      "# Delete this file to restore defaults.\n"
      "# Invalid or missing values fall back to working defaults rather than refusing to start.\n"
      "\n[storage]\n# "));
  for (
      const char* quoted :
      {"\n# The low-level hook is the default. It hears nothing while a window run as "
       "administrator "
       "is in front, so ORVENTA also registers the keys with RegisterHotKey while one is.\n"
       "method = lowlevel\n",
       "\n# card never costs more than frames: over a game holding a display outright, which would "
       "minimize if anything were drawn there, the card is never shown and the sound stands in. "
       "sound_only plays the sound alone on any number of screens, and nothing means nothing at "
       "all while playing.\nwhile_playing = automatic\n",
       "\n# Clips can only start on a keyframe, so this is also the trim granularity: at 2, a \"30 "
       "second\" clip is really 28-30 seconds.\nkeyframe_interval_seconds = 1\n",
       "\n# How many seconds the save_clip hotkey writes, during a recording as well. 0 writes the "
       "whole replay, and anything longer than duration_seconds is cut down to it. The plain "
       "save_replay hotkey always writes the whole replay.\nsave_seconds = 30\n",
       "at 500 a kill is marked visibly after it happened, and at 100 it is not",
       "\n# What to record is an ordered priority list and lives in gamelist.ini next to this "
       "file.\n",
       "\n# This is how a recording can cover a match rather than a session: start_recording on "
       "match_start, stop_recording on match_end.\n"}) {
    EXPECT_NE(text.find(quoted), std::string::npos) << quoted;
  }
  std::string_view before;
  for (const std::string_view line : Split(text, '\n')) {
    const bool of_a_kind = line.find("_sound = ") != std::string_view::npos ||
                           line.find("_click = ") != std::string_view::npos;
    if (line.find(" = ") != std::string_view::npos && !line.starts_with('#') && !of_a_kind) {
      EXPECT_TRUE(before.starts_with("# ")) << line;
    }
    before = line;
  }
}

TEST_F(ConfigFile, ChecksLineByLine) {
  std::vector<std::string> found;
  for (const ConfigFinding& finding :
       CheckConfigText("x = 1\n[video]\nfps = 50 fps\ncodec = vp9\nhi there\nshiny = 1\n"
                       "preset = fast\n[service]\nwritten_by = 2\n# fine\n")) {
    found.push_back(std::to_string(finding.line) + ": " + finding.text);
  }
  EXPECT_EQ(found, (std::vector<std::string>{
                       "1: ignored, it stands before any section: \"x\"",
                       "3: corrected, video.fps cannot be \"50 fps\" and becomes \"50\"",
                       "4: ignored, video.codec cannot be \"vp9\"",
                       "5: ignored, no \"=\" in it: \"hi there\"",
                       "6: not known, kept as it is: \"video.shiny\"",
                       "7: an old name, video.preset is now video.preset_h264",
                       "9: no longer used: service.written_by"}));
  EXPECT_EQ(CheckConfigText(std::string("a\0b", 3)).size(), 1U);
}

}  // namespace
}  // namespace orventa
