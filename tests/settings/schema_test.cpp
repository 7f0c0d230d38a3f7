// The table of settings, driven by itself: a new row is covered without a new test.
#include "settings/schema.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "settings/config_file.h"

namespace orventa {
namespace {

constexpr std::string_view kValues =
    "true;false;7;30;300;64000;720;-12;0.125;0,0.25,0.5,0.75;#12ABEF;h264;hevc;cbr;jpg;disk;"
    "any;hdr;both;top_left;portrait;circle;outline;full;iso;none;xbox;large;bar;inter;"
    "few;mix;de;webcam,captions,input_overlay;system;scrub;taskbar;open;light;ymd;smooth;"
    "weekly;windows;nothing;file;save_clip;a text, with = and #";

// A text that the key holds as it is and that is not its default.
std::string OtherValue(const std::string& key) {
  const Config defaults;
  const std::string usual = SettingText(defaults, key);
  for (const std::string_view text : Split(kValues, ';')) {
    Config config;
    ApplySetting(config, key, text);
    Config valid = config;
    (void)Validate(valid);
    const bool holds = SettingText(config, key) == text && SettingText(valid, key) == text;
    if (holds && text != usual) return std::string(text);
  }
  return {};
}

ConfigReadOutcome Read(const std::string& text, Config& config) {
  ConfigReadOutcome outcome;
  ReadConfigText(text, config, outcome);
  return outcome;
}

TEST(Schema, EveryKeyComesBackFromTheFileAlone) {
  for (const std::string& key : KnownKeys()) {
    const std::string value = OtherValue(key);
    ASSERT_NE(value, "") << key << " takes none of the values that this test knows";
    const Config defaults;
    Config config;
    ApplySetting(config, key, value);
    std::vector<std::string> changed = ChangedSettings(defaults, config);
    // A bitrate that is named is not automatic any more, a camera was on once.
    std::erase_if(changed, [&](const std::string& name) {
      return name != key &&
             (name.ends_with(".bitrate_auto") || name == "replay.max_memory_limited");
    });
    EXPECT_EQ(changed, std::vector{key});
    EXPECT_TRUE(IsKnownKey(key));

    Config read;
    const ConfigReadOutcome outcome = Read(ConfigText(config), read);
    if (key == "webcam.enabled") config.window.webcam_rows_kept = true;
    EXPECT_EQ(read, config) << key;
    EXPECT_FALSE(outcome.rewrite) << key;
    EXPECT_TRUE(outcome.unknown.empty()) << key;
  }
}

TEST(Schema, AllKeysAtOnceComeBackAndLackNone) {
  Config config;
  for (const std::string& key : KnownKeys()) ApplySetting(config, key, OtherValue(key));
  config.game_event_marks.emplace_back("cs9.kill", false);
  config.game_event_actions.emplace_back("cs9.kill", "screenshot");
  config.foreign = {{"video", "vr", "1"}, {"new", "a", "x = y"}, {"video", "z", ""}};
  const std::string text = ConfigText(config);
  Config read;
  EXPECT_EQ(Read(text, read).unknown, (std::vector<std::string>{"video.vr", "video.z", "new.a"}));
  std::ranges::sort(read.foreign, {}, &Config::Foreign::key);
  std::ranges::sort(config.foreign, {}, &Config::Foreign::key);
  EXPECT_EQ(read, config);
  EXPECT_TRUE(CheckConfigText(ConfigText(Config())).empty());
  EXPECT_EQ(CheckConfigText(text).size(), 3U);  // the unknown ones

  // Without one of its lines the file is to be written back.
  for (const char* key : {"replay_directory", "adapter", "lol.ace", "export_done_click"}) {
    const size_t begin = text.find("\n" + std::string(key) + " = ");
    Config ignored;
    EXPECT_TRUE(
        Read(std::string(text).erase(begin, text.find('\n', begin + 1) - begin), ignored).rewrite)
        << key;
  }
}

struct Case {
  const char* section;
  const char* lines;
  const char* key;
  const char* expected;
};

void ExpectRead(const Case& c) {
  Config config;
  Read(std::string("[") + c.section + "]\n" + c.lines, config);
  EXPECT_EQ(SettingText(config, c.key), c.expected) << c.section << ": " << c.lines;
}

TEST(Reading, TakesValuesAsPeopleWriteThem) {
  const Case kCases[] = {
      {"VIDEO", "Bitrate_Kbps = 25000", "video.bitrate_kbps", "25000"},
      {" Video ", "bitrate_kbps=25000", "video.bitrate_auto", "false"},
      {"video", "bitrate_kbps=25000\nbitrate_auto=yes", "video.bitrate_auto", "true"},
      {"video", "bitrate_kbps=abc", "video.bitrate_auto", "true"},
      {"video", "fps = 50 fps", "video.fps", "50"},
      {"video", "fps = +50", "video.fps", "50"},
      {"video", "fps = -50", "video.fps", "60"},
      {"video", "fps = 99999999999999999999", "video.fps", "60"},
      {"video", "fps = 4294967296", "video.fps", "60"},
      {"video", "codec = H265", "video.codec", "hevc"},
      {"video", "codec = vp9", "video.codec", "h264"},
      {"video", "resolution = 720\nresolution = NATIVE", "video.resolution", "native"},
      {"replay", "max_memory_mb = 512", "replay.max_memory_limited", "true"},
      {"replay", "max_memory_mb = 0", "replay.max_memory_limited", "false"},
      {"replay", "storage = disk\nstorage = tape", "replay.storage", "memory"},
      {"screenshot", "format = jpeg", "screenshot.format", "jpg"},
      {"audio", "microphone = On", "audio.microphone", "true"},
      {"audio", "enabled = maybe", "audio.enabled", "true"},
      {"audio", "apps = a=b ; # c", "audio.apps", "a=b ; # c"},
      {"webcam", "height = 899", "webcam.height", "720"},
      {"webcam", "height = 900", "webcam.height", "1080"},
      {"webcam", "size_percent = 5", "webcam.size_percent", "10"},
      {"webcam", "portrait_size_percent = 5", "webcam.portrait_size_percent", "10"},
      {"webcam", "portrait_size_percent = 20\nportrait_size_percent = 0",
       "webcam.portrait_size_percent", "0"},
      {"webcam", "x = 7", "webcam.x", "1"},
      {"webcam", "x = 0.5\nx = left", "webcam.x", ""},
      {"webcam", "x = nan", "webcam.x", ""},
      {"webcam", "crop = 0, 0, 0.5, 1e-1", "webcam.crop", "0,0,0.5,0.1"},
      {"webcam", "crop = 0,0,0,1", "webcam.crop", "0,0,1,1"},
      {"webcam", "border_color = abcdef", "webcam.border_color", "#ABCDEF"},
      {"webcam", "border_color = #abcdeg", "webcam.border_color", "#FFFFFF"},
      {"webcam", "enabled = 1", "window.webcam_rows_kept", "true"},
      {"game_events", "port = 5\nport = 70000", "game_events.port", "5"},
      {"game_events", "rocket_league_rate = 121", "game_events.rocket_league_rate", "10"},
      {"game_events", "cs2.kill = off\nnew.event = 0", "game_events.new.event", "false"},
      {"game_events", "cs2.kill = off\ncs2.kill = on", "game_events.cs2.kill", "true"},
      {"game_event_actions", "cs2.mvp = Save_Clip", "game_event_actions.cs2.mvp", "save_clip"},
      {"game_event_actions", "cs2.mvp = dance", "game_event_actions.cs2.mvp", "none"},
      {"input_overlay", "pitch = 0.5", "input_overlay.pitch", "0"},
      {"input_overlay", "left = inf", "input_overlay.left", "0.2"},
      {"input_overlay", "portrait_left = 0.5\nportrait_left = auto", "input_overlay.portrait_left",
       "auto"},
      {"captions", "portrait_left = -3", "captions.portrait_left", "auto"},
      {"captions", "language = DE , en", "captions.language", "de,en"},
      {"captions", "language = german", "captions.language", "auto"},
      {"overlays", "order = webcam, moon, WEBCAM", "overlays.order",
       "webcam,captions,input_overlay"},
      {"window", "event_lead_seconds = 99", "window.event_lead_seconds", "30"},
      {"window", "hover_preview = x", "window.hover_preview", "popup"},
      {"window", "on_game_found = tray\non_game_found = x", "window.on_game_found", "none"},
      {"window", "meters_auto_ms = 9", "window.meters_auto_ms", "50"},
      {"notifications", "while_playing = sound", "notifications.while_playing", "automatic"},
      {"notifications", "display = 2", "notifications.display", "2"},
  };
  for (const Case& c : kCases) ExpectRead(c);
}

TEST(Reading, UnderstandsOlderFiles) {
  const Case kCases[] = {
      {"output", "directory = D:/x", "storage.screenshot_directory", "D:/x"},
      {"output", "directory = D:/x\n[storage]\nreplay_directory = E:/y", "storage.replay_directory",
       "E:/y"},
      {"storage", "replay_directory = E:/y\n[output]\ndirectory = D:/x", "storage.replay_directory",
       "E:/y"},
      {"output", "filename_pattern = %H", "storage.recording_filename_pattern", "%H"},
      {"audio", "microphone_gain_db = -6", "audio.microphone_volume", "50"},
      {"audio", "microphone_gain_db = 12", "audio.microphone_volume", "100"},
      {"video", "preset = slowest", "video.preset_av1", "p7"},
      {"recording", "preset = whatever", "recording.preset_h264", "p4"},
      {"video", "bitrate_kbps = 20000\nmax_bitrate_kbps = 25000", "video.max_bitrate_percent",
       "125"},
      {"video", "max_bitrate_kbps = 4294967295", "video.max_bitrate_percent", "400"},
      {"video", "max_bitrate_kbps = 0", "video.max_bitrate_percent", "150"},
      {"notifications", "click_action = file", "notifications.recording_click", "file"},
      {"capture", "maximised_as_game = any", "capture.maximized_as_game", "any"},
      {"capture", "sdr_game = true", "capture.dynamic_range", "sdr"},
      {"service", "editor_context_menu = false", "service.context_menu", "false"},
      {"service", "start_minimised = false", "service.start_in_background", "false"},
      {"service", "notify_on_save = false", "notifications.enabled", "false"},
      {"webcam", "place_per_game = true\n[input_overlay]\nplace_per_game = false",
       "overlays.place_per_game", "true"},
      {"recording", "codec = hevc", "recording.use_video_settings", "false"},
      {"recording", "codec = h264\npreset_name = mine", "recording.use_video_settings", "true"},
      {"recording", "fps = 30", "recording.use_video_settings", "true"},
  };
  for (const Case& c : kCases) {
    ExpectRead(c);
    Config config;
    Read(std::string("[") + c.section + "]\n" + c.lines, config);
    EXPECT_TRUE(config.foreign.empty()) << c.lines;
  }
}

TEST(Validate, PutsBackWhatIsOutOfRangeAndSaysSo) {
  const Case kCases[] = {
      {"video", "fps = 1000", "video.fps", "60"},
      {"recording", "fps = 0", "recording.fps", "60"},
      {"video", "bitrate_kbps = 499", "video.bitrate_kbps", "40000"},
      {"video", "resolution = 359", "video.resolution", "native"},
      {"recording", "resolution = 4321", "recording.resolution", "native"},
      {"video", "keyframe_interval_seconds = 61", "video.keyframe_interval_seconds", "1"},
      {"video", "max_bitrate_percent = 99", "video.max_bitrate_percent", "150"},
      {"replay", "max_memory_mb = 255", "replay.max_memory_mb", "4096"},
      {"replay", "duration_seconds = 3601", "replay.duration_seconds", "60"},
      {"audio", "microphone_volume = 101", "audio.microphone_volume", "100"},
      {"audio", "microphone_threshold_db = -100", "audio.microphone_threshold_db", "-70"},
      {"audio", "microphone_threshold_db = 1", "audio.microphone_threshold_db", "0"},
      {"audio", "bitrate_bps = 31999", "audio.bitrate_bps", "160000"},
      {"hotkeys", "microphone_step = 0", "hotkeys.microphone_step", "5"},
      {"screenshot", "jpeg_quality = 0", "screenshot.jpeg_quality", "90"},
      {"updates", "frequency = never", "updates.frequency", "daily"},
      {"service", "save_seconds = 90", "service.save_seconds", "60"},
      {"storage", "screenshot_filename_pattern =", "storage.screenshot_filename_pattern",
       "ORVENTA Screenshot %d-%m-%Y %H-%M-%S"},
  };
  for (const Case& c : kCases) {
    const std::string text = std::string("[") + c.section + "]\n" + c.lines;
    Config config;
    Read(text, config);
    const std::string name = c.key;
    const char* expected =
        name == "service.save_seconds" ? "Clip length was shortened to the replay length."
        : name.ends_with("_pattern")   ? "A file name was empty, so it went back to the default."
                                       : "A setting was out of range, so it was corrected.";
    EXPECT_EQ(Validate(config), std::vector<std::string>{expected}) << c.lines;
    EXPECT_EQ(SettingText(config, c.key), c.expected) << c.lines;
    ASSERT_EQ(CheckConfigText(text).size(), 1U) << c.lines;
    EXPECT_EQ(CheckConfigText(text)[0].line, 2U);
  }
}

TEST(Validate, GoesByOtherSettingsWhereItMust) {
  Config config;
  Read(
      "[replay]\nmax_memory_mb = 1\nmax_memory_limited = false\nduration_seconds = 9999\n"
      "[service]\nsave_seconds = 61\n[audio]\nbitrate_bps = 1",
      config);
  EXPECT_EQ(Validate(config),
            (std::vector<std::string>{"A setting was out of range, so it was corrected.",
                                      "Clip length was shortened to the replay length.",
                                      "A setting was out of range, so it was corrected."}));
  EXPECT_EQ(config.replay.max_memory_mb, 1U);  // nobody looks at it
  EXPECT_EQ(config.service.save_seconds, 60U);
}

TEST(Schema, TellsWhatARunningEngineHasToDo) {
  const struct {
    const char* setting;
    const char* value;
    SettingEffects expected;
  } kCases[] = {
      {"video.fps", "30", {.restart = true}},
      {"video.preset_name", "mine", {}},
      {"video.adapter", "other", {.restart = true}},
      {"recording.fps", "30", {}},
      {"audio.microphone", "true", {.sound = true}},
      {"capture.capture_cursor", "false", {.restart = true}},
      {"capture.windowed_as_game", "false", {}},
      {"webcam.height", "720", {.webcam = true}},
      {"webcam.corner", "top_left", {}},
      {"replay.duration_seconds", "30", {}},
      {"captions.enabled", "true", {.restart = true}},
      {"captions.from", "mix", {}},  // captions are off: nobody listens
      {"hotkeys.marker", "F9", {}},
  };
  for (const auto& c : kCases) {
    const Config before;
    Config after;
    ApplySetting(after, c.setting, c.value);
    EXPECT_EQ(EffectsOfChange(before, after), c.expected) << c.setting;
    EXPECT_NE(before, after) << c.setting;
  }
}

TEST(Schema, NamesNoKeyThatIsNone) {
  for (const char* name : {"", ".", "video", "video.", ".fps", "video.fpss", "output.directory",
                           "service.written_by", "game_event.cs2.kill"}) {
    EXPECT_FALSE(IsKnownKey(name)) << name;
    EXPECT_EQ(SettingText(Config(), name), "") << name;
  }
  EXPECT_TRUE(IsKnownKey("game_events.from.a.later.version"));
  // What would not stand in a line as itself is no event.
  for (const char* id : {"", "#a", "[a", "a\nb", "a=b"}) {
    Config config;
    ApplySetting(config, "game_events", id, "false");
    EXPECT_EQ(config, Config()) << id;
  }
}

}  // namespace
}  // namespace orventa
