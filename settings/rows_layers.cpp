// What is drawn over a video when it is exported.
#include <algorithm>

#include "base/text.h"
#include "settings/setting.h"

namespace orventa::schema {
namespace {

using C = Config;
using I = Config::InputOverlay;
using T = Config::Captions;

const std::vector<std::string_view> kShownOn = {"both", "landscape", "portrait"};
const std::vector<std::string_view> kSizes = {"small", "medium", "large"};

bool IsLetter(char c) {
  return c >= 'a' && c <= 'z';
}

// "auto", a code of two or three letters, or a pair of words, which the window
// chooses from.
Value Language(Member<std::string> member) {
  Value value = Text(member);
  value.read = [=](Config& config, std::string_view text) {
    const std::string lower = ToLower(text);
    const std::vector<std::string_view> parts = Split(lower, ',');
    if (parts.size() > 2) return Taken::Ignored;
    std::string language;
    for (std::string_view part : parts) {
      part = Trim(part);
      const bool letters = !part.empty() && std::all_of(part.begin(), part.end(), IsLetter);
      const bool code = part.size() == 2 || part.size() == 3 || part == "auto";
      if (!letters || (parts.size() == 1 && !code)) return Taken::Ignored;
      language += (language.empty() ? "" : ",") + std::string(part);
    }
    member(config) = language;
    return Taken::AsIs;
  };
  return value;
}

// Every layer once: those that are named first, then the others.
Value LayerOrder(Member<std::string> member) {
  Value value = Text(member);
  value.read = [=](Config& config, std::string_view text) {
    static const std::vector<std::string_view> kLayers = {"captions", "input_overlay", "webcam"};
    std::vector<std::string_view> order;
    const auto add = [&](std::string_view layer) {
      if (std::find(order.begin(), order.end(), layer) == order.end()) order.push_back(layer);
    };
    const std::string lower = ToLower(text);
    for (const std::string_view word : Split(lower, ',')) {
      const std::optional<uint32_t> layer = FindWord(kLayers, {}, Trim(word));
      if (layer) add(kLayers[*layer]);
    }
    const bool complete = order.size() == kLayers.size();
    for (const std::string_view layer : kLayers) add(layer);
    std::string joined;
    for (const std::string_view layer : order)
      joined += (joined.empty() ? "" : ",") + std::string(layer);
    member(config) = joined;
    return complete ? Taken::AsIs : Taken::Corrected;
  };
  return value;
}

void AppendInputOverlay(Settings& rows) {
  const auto add = [&](std::string key, Value value, std::string comment) {
    rows.push_back(
        {"input_overlay", std::move(key), std::move(value), Effect::None, std::move(comment)});
  };
  add("enabled", Bool(At<&C::input_overlay, &I::enabled>),
      "true keeps your key, mouse and controller presses with each clip, so that they can be shown "
      "over it. They are sealed to your account on this computer.");
  add("look", Words(At<&C::input_overlay, &I::look>, {"ember", "outline", "held"}),
      "ember lets a pressed key glow and fade, outline draws borders only, held shows only the "
      "keys that are down.");
  add("color", Colour(At<&C::input_overlay, &I::color>),
      "The colour of a pressed key as #RRGGBB: two hex digits each for red, green and blue.");
  add("background", Number(At<&C::input_overlay, &I::background>, Ignoring(0, 100)),
      "How solid the keys' background is, in percent: 0 is clear, 100 hides the game behind it.");
  add("size", Words(At<&C::input_overlay, &I::size>, kSizes),
      "How large it is: small, medium or large. Counts while pitch is 0.");
  add("pitch", ZeroOr(At<&C::input_overlay, &I::pitch>, 0.005, 0.25),
      "An exact size instead of size: how wide a key is, as a part of the picture's width, 0.005 "
      "to 0.25. 0 uses size.");
  add("keyboard",
      Words(At<&C::input_overlay, &I::keyboard>, {"wasd", "wasd_numbers", "60", "tkl", "full"}),
      "How much of the keyboard is shown: wasd, wasd_numbers (with the row of numbers), 60 "
      "(letters and numbers), tkl (all but the number pad) or full.");
  add("key_shape", Words(At<&C::input_overlay, &I::key_shape>, {"auto", "ansi", "iso"}),
      "The shape of Enter and left Shift: ansi as in the United States, iso as in Europe. auto "
      "looks at your keyboard.");
  add("mouse", Words(At<&C::input_overlay, &I::mouse>, {"none", "compact", "full"}),
      "The mouse beside the keys: none, compact (buttons only) or full.");
  add("controller", Words(At<&C::input_overlay, &I::controller>, {"auto", "xbox", "playstation"}),
      "Which signs a controller's buttons have: xbox or playstation. auto looks at the "
      "controller.");
  add("left", Share(At<&C::input_overlay, &I::left>),
      "Where it stands from left to right: 0 is the left edge of the picture, 1 the right.");
  add("bottom", Share(At<&C::input_overlay, &I::bottom>),
      "How far it stands above the lower edge: 0 is at the edge, 1 at the top of the picture.");
  add("portrait_left", ShareOrAuto(At<&C::input_overlay, &I::portrait_left>),
      "left in a portrait video. auto puts it into the middle.");
  add("portrait_blur_left", ShareOrAuto(At<&C::input_overlay, &I::portrait_blur_left>),
      "left in a portrait video with a blurred background. auto puts it into the middle.");
  add("portrait_bottom", Share(At<&C::input_overlay, &I::portrait_bottom>),
      "bottom in a portrait video.");
  add("portrait_blur_bottom", Share(At<&C::input_overlay, &I::portrait_blur_bottom>),
      "bottom in a portrait video with a blurred background.");
  add("portrait_pitch", ZeroOr(At<&C::input_overlay, &I::portrait_pitch>, 0.005, 0.25),
      "pitch in a portrait video. 0 uses size.");
  add("portrait_blur_pitch", ZeroOr(At<&C::input_overlay, &I::portrait_blur_pitch>, 0.005, 0.25),
      "pitch in a portrait video with a blurred background. 0 uses size.");
  add("shown_on", Words(At<&C::input_overlay, &I::shown_on>, kShownOn),
      "Which videos show it: both, landscape only or portrait only.");
  add("preview_picture", Text(At<&C::input_overlay, &I::preview_picture>),
      "A picture that the settings page shows behind it; empty uses its own.");
}

void AppendCaptions(Settings& rows) {
  const auto add = [&](std::string key, Value value, std::string comment) {
    rows.push_back(
        {"captions", std::move(key), std::move(value), Effect::None, std::move(comment)});
  };
  add("enabled", Bool(At<&C::captions, &T::enabled>),
      "true writes what is said into exported videos. The words are found on this computer, which "
      "takes a while per video and costs nothing while you play.");
  add("look", Words(At<&C::captions, &T::look>, {"highlight", "bar", "big", "plain"}),
      "highlight colours the word being said, bar puts a dark bar behind the line, big shows a few "
      "large words, plain is white text.");
  add("font", Words(At<&C::captions, &T::font>, {"auto", "inter", "segoe", "arial", "impact"}),
      "The typeface: inter, segoe, arial or impact. auto chooses what suits the look.");
  add("size", Words(At<&C::captions, &T::size>, kSizes),
      "How large the text is: small, medium or large. Counts while scale is 0.");
  add("scale", ZeroOr(At<&C::captions, &T::scale>, 0.02, 0.15),
      "An exact size instead of size: how high a line is, as a part of the picture's height, 0.02 "
      "to 0.15. 0 uses size.");
  add("color", Colour(At<&C::captions, &T::color>), "The text's colour as #RRGGBB.");
  add("highlight", Colour(At<&C::captions, &T::highlight>),
      "The colour of the word being said as #RRGGBB, for the looks that have one.");
  add("words", Words(At<&C::captions, &T::words>, {"auto", "few", "some", "line"}),
      "How many words stand on the picture at once: few, some or a whole line. auto leaves it to "
      "the look.");
  add("left", Share(At<&C::captions, &T::left>),
      "Where the middle of the text stands from left to right: 0 is the left edge of the picture, "
      "1 the right.");
  add("bottom", Share(At<&C::captions, &T::bottom>),
      "How far the text stands above the lower edge: 0 is at the edge, 1 at the top of the "
      "picture.");
  add("portrait_left", ShareOrAuto(At<&C::captions, &T::portrait_left>),
      "left in a portrait video. auto puts it into the middle.");
  add("portrait_bottom", ShareOrAuto(At<&C::captions, &T::portrait_bottom>),
      "bottom in a portrait video. auto keeps clear of what apps draw there.");
  add("portrait_blur_left", ShareOrAuto(At<&C::captions, &T::portrait_blur_left>),
      "left in a portrait video with a blurred background. auto puts it into the middle.");
  add("portrait_blur_bottom", ShareOrAuto(At<&C::captions, &T::portrait_blur_bottom>),
      "bottom in a portrait video with a blurred background. auto keeps clear of what apps draw "
      "there.");
  add("from", Words(At<&C::captions, &T::from>, {"voice", "mix"}),
      "voice listens to your microphone alone, which is recorded on a track of its own for that. "
      "mix listens to everything, so that others are captioned, too, and mistakes are more "
      "common.");
  add("language", Language(At<&C::captions, &T::language>),
      "The language that is spoken, as a code of two or three letters such as en or de. auto "
      "listens for it.");
  add("english", Bool(At<&C::captions, &T::english>),
      "true writes the captions in English, whatever is spoken.");
  add("shown_on", Words(At<&C::captions, &T::shown_on>, kShownOn),
      "Which videos show captions: both, landscape only or portrait only.");
}

}  // namespace

Settings LayerSettings() {
  Settings rows;
  AppendInputOverlay(rows);
  AppendCaptions(rows);
  rows.push_back({"overlays", "order", LayerOrder(At<&C::overlays, &C::Overlays::order>),
                  Effect::None,
                  "What covers what where captions, key presses (input_overlay) and camera "
                  "(webcam) meet: the three words with commas between them, the topmost first."});
  rows.push_back({"overlays", "place_per_game",
                  Bool(At<&C::overlays, &C::Overlays::place_per_game>), Effect::None,
                  "true remembers for every game where you put camera, key presses and captions. "
                  "false uses the same places for all games."});
  return rows;
}

}  // namespace orventa::schema
