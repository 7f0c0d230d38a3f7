// What is captured: sound, the game's picture, the webcam.
#include "settings/setting.h"

namespace orventa::schema {
namespace {

using C = Config;
using A = Config::Audio;
using W = Config::Webcam;
using P = Config::WebcamPlace;

const std::vector<std::string_view> kCorners = {"top_left", "top_right", "bottom_left",
                                                "bottom_right"};

// The camera's pictures are asked for in one of two sizes.
Value CameraHeight(Member<uint32_t> member) {
  Value value = Number(member);
  value.read = [number = std::move(value.read), member](Config& config, std::string_view text) {
    const Taken taken = number(config, text);
    if (taken == Taken::Ignored) return taken;
    const uint32_t asked = Of(member, config);
    const uint32_t height = asked < 900 ? 720 : 1080;
    member(config) = height;
    return height == asked ? taken : Taken::Corrected;
  };
  return value;
}

void AppendAudio(Settings& rows) {
  const auto add = [&](std::string key, Value value, std::string comment) {
    rows.push_back({"audio", std::move(key), std::move(value), Effect::Sound, std::move(comment)});
  };
  add("enabled", Bool(At<&C::audio, &A::enabled>),
      "true records what the computer plays. false leaves it out; a microphone can still be on.");
  add("bitrate_bps", Number(At<&C::audio, &A::bitrate_bps>, Checked(32000, 512000)),
      "How much is written for each second of a sound track, in bits, 32000 to 512000. 160000 is "
      "hard to tell from the original.");
  rows.back().value.stage = CheckStage::SoundRate;
  add("output_device", Text(At<&C::audio, &A::output_device>),
      "The speakers or headphones whose sound is recorded, by the system's id for them, which the "
      "app fills in. Empty follows the system's default, also when it changes.");
  add("microphone", Bool(At<&C::audio, &A::microphone>), "true records your microphone, too.");
  add("microphone_device", Text(At<&C::audio, &A::microphone_device>),
      "The microphone, by the system's id for it, which the app fills in. Empty follows the "
      "system's default.");
  add("microphone_volume", Number(At<&C::audio, &A::microphone_volume>, CheckedToEnd(0, 100)),
      "How loud the microphone is recorded, in percent, 0 to 100. 100 is as it comes in.");
  add("system_volume", Number(At<&C::audio, &A::system_volume>, CheckedToEnd(0, 100)),
      "How loud the computer's sound is recorded, in percent, 0 to 100. What you hear does not "
      "change.");
  add("microphone_mono", Bool(At<&C::audio, &A::microphone_mono>),
      "true puts the microphone in the middle, for one that is heard on one side only.");
  add("push_to_talk", Bool(At<&C::audio, &A::push_to_talk>),
      "true records the microphone only while the key push_to_talk of [hotkeys] is held.");
  add("microphone_gate", Bool(At<&C::audio, &A::microphone_gate>),
      "true leaves out what is quieter than microphone_threshold_db, such as breath and fans.");
  add("microphone_threshold_db",
      Number(At<&C::audio, &A::microphone_threshold_db>, CheckedToEnd(-70, 0)),
      "How loud a sound must be to pass the gate, in decibels, -70 to 0. Nearer to 0 lets less "
      "through; -40 suits a headset.");
  add("capture_from_app", Bool(At<&C::audio, &A::capture_from_app>),
      "true records only what the game itself plays: no music, no voice chat. false records all "
      "that the computer plays.");
  add("apps", Text(At<&C::audio, &A::apps>),
      "Programs that are recorded beside the game while capture_from_app is true, as file names "
      "with commas between them, such as Discord.exe,Spotify.exe.");
  add("separate_tracks", Bool(At<&C::audio, &A::separate_tracks>),
      "true puts the microphone on a sound track of its own, so that an editor can treat it apart. "
      "Most players play the first track only.");
}

void AppendCapture(Settings& rows) {
  using P2 = Config::Capture;
  rows.push_back({"capture", "capture_cursor", Bool(At<&C::capture, &P2::capture_cursor>),
                  Effect::Restart,
                  "What to record is an ordered priority list and lives in gamelist.ini next to "
                  "this file.\ntrue records the mouse cursor with the picture."});
  // The next two only change which window is taken for a game.
  rows.push_back({"capture", "maximized_as_game",
                  Words(At<&C::capture, &P2::maximized_as_game>, {"never", "primary", "any"}),
                  Effect::None,
                  "Whether the line any-game of the game list takes a maximized window for a game: "
                  "never, on the primary display only (primary), or on every display (any). never "
                  "keeps browsers and players out."});
  rows.push_back({"capture", "windowed_as_game", Bool(At<&C::capture, &P2::windowed_as_game>),
                  Effect::None,
                  "true lets the line any-game of the game list also take games that run in a "
                  "window, if ORVENTA knows them as games."});
  rows.push_back(
      {"capture", "dynamic_range",
       Words(At<&C::capture, &P2::dynamic_range>, {"auto", "sdr", "hdr"}), Effect::Restart,
       "Whether games on an HDR display are taken for HDR or for ordinary (SDR) ones: auto looks "
       "at the picture and decides. sdr or hdr decides for all games, should auto get one wrong."});
}

void AppendPlaces(Settings& rows) {
  const auto add = [&](std::string key, Value value, std::string comment) {
    rows.push_back({"webcam", std::move(key), std::move(value), Effect::None, std::move(comment)});
  };
  const std::string tall = "a portrait video";
  const std::string blurred = "a portrait video with a blurred background";
  add("corner", Words(At<&C::webcam, &W::place, &P::corner>, kCorners),
      "The corner that the camera is put into: top_left, top_right, bottom_left or bottom_right. "
      "Counts while x and y are empty.");
  add("size_percent", Number(At<&C::webcam, &W::place, &P::size_percent>, Clamping(10, 50)),
      "How wide the camera's picture is, in percent of the video's width, 10 to 50.");
  add("x", ShareOrEmpty(At<&C::webcam, &W::place, &P::x>),
      "Where the camera stands from left to right: 0 is the left edge, 1 the right, 0.5 the "
      "middle. Empty uses the corner.");
  add("y", ShareOrEmpty(At<&C::webcam, &W::place, &P::y>),
      "Where it stands from top to bottom: 0 is the top, 1 the bottom. Empty uses the corner.");
  add("portrait_corner", Words(At<&C::webcam, &W::portrait, &P::corner>, kCorners),
      "The corner in " + tall + ", which has places of its own.");
  add("portrait_blur_corner", Words(At<&C::webcam, &W::portrait_blur, &P::corner>, kCorners),
      "The corner in " + blurred + ".");
  add("portrait_size_percent",
      NumberOrNone(At<&C::webcam, &W::portrait, &P::size_percent>, 10, 100),
      "The width in " + tall +
          ", 10 to 100 percent. 0 is not chosen yet: a size that fits is used.");
  add("portrait_blur_size_percent",
      NumberOrNone(At<&C::webcam, &W::portrait_blur, &P::size_percent>, 10, 100),
      "The width in " + blurred + ", 10 to 100 percent. 0 is not chosen yet.");
  add("portrait_x", ShareOrEmpty(At<&C::webcam, &W::portrait, &P::x>),
      "x in " + tall + ". Empty uses its corner.");
  add("portrait_y", ShareOrEmpty(At<&C::webcam, &W::portrait, &P::y>),
      "y in " + tall + ". Empty uses its corner.");
  add("portrait_blur_x", ShareOrEmpty(At<&C::webcam, &W::portrait_blur, &P::x>),
      "x in " + blurred + ". Empty uses its corner.");
  add("portrait_blur_y", ShareOrEmpty(At<&C::webcam, &W::portrait_blur, &P::y>),
      "y in " + blurred + ". Empty uses its corner.");
}

void AppendWebcam(Settings& rows) {
  const auto add = [&](std::string key, Value value, std::string comment,
                       Effect effect = Effect::None) {
    rows.push_back({"webcam", std::move(key), std::move(value), effect, std::move(comment)});
  };
  add("enabled", Bool(At<&C::webcam, &W::enabled>),
      "true records your camera beside the game, as a picture of its own that can be placed, "
      "resized or left out later. The graphics card makes a second, small video for it.",
      Effect::Webcam);
  add("device", Text(At<&C::webcam, &W::device>),
      "The camera, by the system's name for it. Empty uses the first one.", Effect::Webcam);
  add("height", Number(At<&C::webcam, &W::height>),
      "The height of the camera's picture in pixels, 720 or 1080. A camera that cannot do that is "
      "used at the nearest that it can.",
      Effect::Webcam);
  rows.back().value = CameraHeight(At<&C::webcam, &W::height>);
  AppendPlaces(rows);
  add("flip_horizontal", Bool(At<&C::webcam, &W::flip_horizontal>),
      "true mirrors the camera's picture left to right.");
  add("flip_vertical", Bool(At<&C::webcam, &W::flip_vertical>),
      "true turns it upside down, for a camera that hangs.");
  add("crop", Shares(At<&C::webcam, &W::crop>),
      "The part of the camera's picture that is shown: left, top, width and height, each from 0 to "
      "1. 0,0,1,1 is all of it; 0.25,0,0.5,1 is the middle half.");
  add("shape", Words(At<&C::webcam, &W::shape>, {"rectangle", "rounded", "circle"}),
      "The outline of the camera's picture: rectangle, rounded or circle.");
  add("radius_percent", Number(At<&C::webcam, &W::radius_percent>, Clamping(0, 50)),
      "How round the corners of shape rounded are, in percent of the shorter side, 0 to 50.");
  add("border_percent", Number(At<&C::webcam, &W::border_percent>, Clamping(0, 10)),
      "How thick the border is, in percent of the shorter side, 0 to 10. 0 draws none.");
  add("border_color", Colour(At<&C::webcam, &W::border_color>),
      "The border's colour as #RRGGBB: two hex digits each for red, green and blue.");
  add("preview_picture", Text(At<&C::webcam, &W::preview_picture>),
      "A picture that the settings page shows in the camera's place; empty uses its own.");
  add("shown_on", Words(At<&C::webcam, &W::shown_on>, {"both", "landscape", "portrait"}),
      "Which videos show the camera: both, landscape only or portrait only.");
}

}  // namespace

Settings SourceSettings() {
  Settings rows;
  AppendAudio(rows);
  AppendCapture(rows);
  AppendWebcam(rows);
  return rows;
}

}  // namespace orventa::schema
