// All settings as one plain value; threads work on copies. Grouped as in the file,
// with the product's defaults. What a key is called in the file, what it may hold
// and what it says about itself stands in schema.cpp: a new setting is a member
// here and a row there.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "encoders/encoder.h"

namespace orventa {

// In the order of their stored values.
enum class Corner : uint32_t { TopLeft, TopRight, BottomLeft, BottomRight };
enum class ShownOn : uint32_t { Both, Landscape, Portrait };
enum class WebcamShape : uint32_t { Rectangle, Rounded, Circle };
enum class ScreenshotFormat : uint32_t { Png, Jpg };
enum class ReplayStorage : uint32_t { Memory, Disk };
enum class MaximizedAsGame : uint32_t { Never, Primary, Any };
enum class DynamicRange : uint32_t { Auto, Sdr, Hdr };
enum class HotkeyMethod : uint32_t { RegisterHotkey, LowLevel, Both };
enum class OverlayLook : uint32_t { Ember, Outline, Held };
enum class OverlayKeyboard : uint32_t { Wasd, WasdNumbers, Sixty, Tkl, Full };
enum class KeyShape : uint32_t { Auto, Ansi, Iso };
enum class OverlayMouse : uint32_t { None, Compact, Full };
enum class OverlayController : uint32_t { Auto, Xbox, Playstation };
enum class OverlaySize : uint32_t { Small, Medium, Large };
enum class CaptionsLook : uint32_t { Highlight, Bar, Big, Plain };
enum class CaptionsFont : uint32_t { Auto, Inter, Segoe, Arial, Impact };
enum class CaptionsWords : uint32_t { Auto, Few, Some, Line };
enum class CaptionsSource : uint32_t { Voice, Mix };

enum class OutputKind : uint32_t { Replay = 0, Recording = 1, Screenshot = 2 };
inline constexpr uint32_t kOutputKindCount = 3;

struct Config {
  struct Output {
    std::string directory;  // UTF-8; empty: the kind's default folder
    std::string filename_pattern;
    bool cleanup = false;
    uint32_t limit_mb = 0;
    bool age_cleanup = false;
    uint32_t max_age_days = 30;
    bool permanent_delete = false;
    bool delete_favorites = false;
    bool operator==(const Output&) const = default;
  };
  struct Storage {
    Output replay{
        .directory = "", .filename_pattern = "ORVENTA Replay %d-%m-%Y %H-%M-%S", .limit_mb = 20480};
    Output recording{.directory = "",
                     .filename_pattern = "ORVENTA Recording %d-%m-%Y %H-%M-%S",
                     .limit_mb = 51200};
    Output screenshot{.directory = "",
                      .filename_pattern = "ORVENTA Screenshot %d-%m-%Y %H-%M-%S",
                      .limit_mb = 2048};
    bool folder_per_game = true;
    bool operator==(const Storage&) const = default;
    const Output& Of(OutputKind kind) const {
      return kind == OutputKind::Replay      ? replay
             : kind == OutputKind::Recording ? recording
                                             : screenshot;
    }
    Output& Of(OutputKind kind) { return const_cast<Output&>(std::as_const(*this).Of(kind)); }
  };
  struct Screenshot {
    ScreenshotFormat format = ScreenshotFormat::Png;
    uint32_t jpeg_quality = 90;
    bool hdr = false;
    bool operator==(const Screenshot&) const = default;
  };
  // Of the replay, and of recordings that have settings of their own.
  struct Video {
    Codec codec = Codec::H264;
    bool ten_bit = false;
    bool hdr = false;
    uint32_t bitrate_kbps = 40000;
    bool bitrate_auto = true;
    uint32_t max_bitrate_percent = 150;
    RateControl rate_control = RateControl::Vbr;
    uint32_t fps = 60;
    uint32_t resolution = 0;  // height in pixels; 0: as captured
    std::string preset_h264;  // the encoder's own names; empty: its default
    std::string preset_hevc;
    std::string preset_av1;
    uint32_t keyframe_interval_seconds = 1;
    bool adaptive_quantization = false;
    std::string preset_name;  // the named preset that these came from
    bool operator==(const Video&) const = default;
    const std::string& PresetOf(Codec which) const {
      return which == Codec::H264 ? preset_h264 : which == Codec::Hevc ? preset_hevc : preset_av1;
    }
  };
  struct Replay {
    uint32_t duration_seconds = 60;
    bool max_memory_limited = false;
    uint32_t max_memory_mb = 4096;
    ReplayStorage storage = ReplayStorage::Memory;
    bool operator==(const Replay&) const = default;
  };
  struct Audio {
    bool enabled = true;
    uint32_t bitrate_bps = 160000;
    std::string output_device;  // the system's name for it; empty: its default
    bool microphone = false;
    std::string microphone_device;
    uint32_t microphone_volume = 100;  // percent
    uint32_t system_volume = 100;
    bool microphone_mono = false;
    bool push_to_talk = false;
    bool microphone_gate = false;
    int32_t microphone_threshold_db = -40;
    bool capture_from_app = false;
    std::string apps;  // file names, comma separated
    bool separate_tracks = false;
    bool operator==(const Audio&) const = default;
  };
  struct Capture {
    bool capture_cursor = true;
    MaximizedAsGame maximized_as_game = MaximizedAsGame::Never;
    bool windowed_as_game = true;
    DynamicRange dynamic_range = DynamicRange::Auto;
    bool operator==(const Capture&) const = default;
  };
  // Where something drawn over the picture stands. -1: nowhere yet.
  struct WebcamPlace {
    Corner corner = Corner::BottomRight;
    uint32_t size_percent = 0;  // 0: none yet
    float x = -1;               // shares of the picture
    float y = -1;
    bool operator==(const WebcamPlace&) const = default;
  };
  struct Webcam {
    bool enabled = false;
    std::string device;  // empty: the first
    uint32_t height = 1080;
    WebcamPlace place{.size_percent = 25};
    WebcamPlace portrait;
    WebcamPlace portrait_blur;
    bool flip_horizontal = false;
    bool flip_vertical = false;
    std::array<float, 4> crop = {0, 0, 1, 1};  // left, top, width, height as shares
    WebcamShape shape = WebcamShape::Rectangle;
    uint32_t radius_percent = 18;
    uint32_t border_percent = 0;
    std::string border_color = "#FFFFFF";
    std::string preview_picture;
    ShownOn shown_on = ShownOn::Both;
    bool operator==(const Webcam&) const = default;
  };
  struct GameEvents {
    bool enabled = true;
    uint16_t port = 47823;
    uint32_t report_ms = 100;
    bool league_enabled = true;
    uint32_t league_poll_ms = 250;
    bool dota_enabled = false;
    bool rocket_league_enabled = false;
    uint16_t rocket_league_port = 49123;
    uint32_t rocket_league_rate = 10;  // reports a second
    bool operator==(const GameEvents&) const = default;
  };
  struct InputOverlay {
    bool enabled = false;
    OverlayLook look = OverlayLook::Ember;
    std::string color = "#FF6000";
    uint32_t background = 64;
    OverlaySize size = OverlaySize::Medium;
    double pitch = 0;  // a key's share of the picture; 0: by size
    OverlayKeyboard keyboard = OverlayKeyboard::Wasd;
    KeyShape key_shape = KeyShape::Auto;
    OverlayMouse mouse = OverlayMouse::Full;
    OverlayController controller = OverlayController::Auto;
    double left = 0.2;  // shares of the picture; -1: automatic
    double bottom = 0.035;
    double portrait_left = -1;
    double portrait_blur_left = -1;
    double portrait_bottom = 0.035;
    double portrait_blur_bottom = 0.035;
    double portrait_pitch = 0;
    double portrait_blur_pitch = 0;
    ShownOn shown_on = ShownOn::Both;
    std::string preview_picture;
    bool operator==(const InputOverlay&) const = default;
  };
  struct Captions {
    bool enabled = false;
    CaptionsLook look = CaptionsLook::Highlight;
    CaptionsFont font = CaptionsFont::Auto;
    OverlaySize size = OverlaySize::Medium;
    double scale = 0;  // a line's share of the picture; 0: by size
    std::string color = "#FFFFFF";
    std::string highlight = "#FF6000";
    CaptionsWords words = CaptionsWords::Auto;
    double left = 0.5;  // shares of the picture; -1: automatic
    double bottom = 0.07;
    double portrait_left = -1;
    double portrait_bottom = -1;
    double portrait_blur_left = -1;
    double portrait_blur_bottom = -1;
    CaptionsSource from = CaptionsSource::Voice;
    std::string language = "auto";
    bool english = false;
    ShownOn shown_on = ShownOn::Both;
    bool operator==(const Captions&) const = default;
  };
  struct Overlays {
    std::string order = "captions,input_overlay,webcam";  // topmost first
    bool place_per_game = false;
    bool operator==(const Overlays&) const = default;
  };
  struct Hotkeys {
    std::string save_replay = "Alt+8";
    std::string save_clip = "Alt+7";
    std::string toggle_recording = "Alt+9";
    std::string toggle_pause = "Ctrl+Alt+Shift+0";
    std::string screenshot = "Alt+0";
    std::string marker = "Alt+M";
    std::string custom_buffer;
    std::string custom_recording;
    std::string toggle_audio;
    std::string toggle_microphone;
    std::string toggle_microphone_mono;
    std::string microphone_louder;
    std::string microphone_quieter;
    std::string toggle_webcam;
    std::string push_to_talk = "V";
    uint32_t microphone_step = 5;  // percent
    bool allow_duplicates = false;
    HotkeyMethod method = HotkeyMethod::LowLevel;
    bool operator==(const Hotkeys&) const = default;
  };
  struct Service {
    std::string profile = "Default";
    uint32_t save_seconds = 30;  // 0: the whole replay
    bool start_with_windows = true;
    bool context_menu = true;
    bool start_in_background = true;
    bool remember_pause = false;
    bool paused = false;
    bool record_while_paused = false;
    bool background_noticed = false;
    bool operator==(const Service&) const = default;
  };
  // The window process's own; the service keeps them for it.
  struct Window {
    bool remember_position = true;
    bool remember_size = true;
    bool always_on_top = false;
    bool fit_clip = true;
    bool show_webcam = true;
    std::string landing_page = "home";
    std::string open_with = "player";
    std::string open_pictures_with = "player";
    std::string playback_device;
    uint32_t event_lead_seconds = 5;
    std::string hover_preview = "popup";
    bool status_video = true;
    bool status_system_audio = true;
    bool status_microphone = true;
    bool status_webcam = true;
    bool status_memory = true;
    bool status_drives = false;
    bool tray_video = true;
    bool tray_system_audio = true;
    bool tray_microphone = true;
    bool tray_webcam = true;
    bool tray_memory = true;
    bool tray_drives = true;
    bool webcam_rows_kept = false;
    bool alert_streamdeck = true;
    std::string on_game_found = "none";
    std::string on_game_gone = "none";
    std::string theme = "dark";
    std::string font;
    std::string quick_settings = "replay.duration_seconds,service.save_seconds,video.fps";
    std::string language = "system";
    std::string date_format = "auto";
    bool animations = true;
    std::string meters = "auto";
    int32_t meters_smooth_ms = 20;
    int32_t meters_auto_ms = 50;
    int32_t meters_performance_ms = 100;
    bool welcomed = false;
    bool deck_offered = false;
    bool show_input_overlay = true;
    bool show_captions = true;
    bool operator==(const Window&) const = default;
  };
  struct Updates {
    bool check_automatically = true;
    std::string frequency = "daily";
    bool download_automatically = true;
    bool install_automatically = true;
    uint32_t last_check = 0;  // seconds since 1970
    std::string last_version_seen;
    std::string newest_seen;
    bool operator==(const Updates&) const = default;
  };
  struct Notifications {
    enum class ClickAction : uint32_t { Folder, File, Player, Gui, Library, Changelog, None };
    struct Kind {
      bool enabled = true;
      bool sound = true;
      ClickAction click = ClickAction::Gui;
      bool operator==(const Kind&) const = default;
    };
    bool enabled = true;
    bool sound = true;
    std::string style = "orventa";
    std::string while_playing = "automatic";
    std::string display = "automatic";
    std::string playing_display = "automatic";
    std::string corner = "bottom_right";
    std::string playing_corner = "bottom_right";
    Kind replay_saved{.click = ClickAction::Library};
    Kind replay_failed;
    Kind recording{.sound = false, .click = ClickAction::Library};
    Kind screenshot{.click = ClickAction::Library};
    Kind buffer_paused;
    Kind audio_changed;
    Kind problem;
    Kind marker{.sound = false};
    Kind running_in_background;
    Kind update_available;
    Kind updated{.click = ClickAction::Changelog};
    Kind export_done{.click = ClickAction::Player};
    bool operator==(const Notifications&) const = default;
  };
  // A setting that this build does not know, kept for the one that does.
  struct Foreign {
    std::string section;
    std::string key;
    std::string value;
    bool operator==(const Foreign&) const = default;
  };

  Storage storage;
  Screenshot screenshot;
  Video video;
  std::string adapter;  // the driver's name of the graphics card; empty: the best
  Video recording;
  bool recording_use_video_settings = true;
  Replay replay;
  Audio audio;
  Capture capture;
  Webcam webcam;
  GameEvents game_events;
  // By event id, in the file's order. An event that is not listed does as the event
  // table says, and has no action; what says no more than that is not listed.
  std::vector<std::pair<std::string, bool>> game_event_marks;
  std::vector<std::pair<std::string, std::string>> game_event_actions;
  InputOverlay input_overlay;
  Captions captions;
  Overlays overlays;
  Hotkeys hotkeys;
  Service service;
  Window window;
  Updates updates;
  Notifications notifications;
  std::vector<Foreign> foreign;

  bool operator==(const Config&) const = default;
};

}  // namespace orventa
