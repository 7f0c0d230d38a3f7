// One row of the table of settings, and the kinds of value that rows are made of.
// For the folder's own sources only. The table is built once and constant after.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "settings/config.h"

namespace orventa::schema {

// What became of a value that was read. Ignored: the setting stays as it was.
enum class Taken { AsIs, Corrected, Ignored };

// When Validate looks at a row; later stages rely on earlier ones.
enum class CheckStage { Never, Ranges, ClipLength, SoundRate, FileNames };

struct Value {
  std::function<Taken(Config&, std::string_view)> read;  // of a trimmed text
  std::function<std::string(const Config&)> write;
  CheckStage stage = CheckStage::Never;
  // Puts an unfit value right; true when there was need.
  std::function<bool(Config&, const Config& defaults)> correct;
  std::string_view warning = "A setting was out of range, so it was corrected.";
};

enum class Effect { None, Restart, Sound, Webcam };

// Begins a paragraph of a comment that stands on one line, so that people who look for
// it as they know it find it.
inline constexpr char kOnOneLine = '|';

struct Setting {
  std::string section;
  std::string key;
  Value value;
  Effect effect = Effect::None;
  // Paragraphs, which the writer wraps; empty: what stands above covers this row too.
  std::string comment;

  std::string Name() const { return section + "." + key; }
};
using Settings = std::vector<Setting>;

// Where a row's value lies: At<&Config::video, &Config::Video::fps>.
template <typename T>
using Member = T& (*)(Config&);
template <auto... kPath>
auto& At(Config& config) {
  return (config.*....*kPath);
}
// Reading through an accessor that would also let one write.
template <typename T>
const T& Of(Member<T> member, const Config& config) {
  return member(const_cast<Config&>(config));
}

// What happens to a number outside its range: at once while reading, or when the
// settings are validated.
enum class Outside { Ignore, Clamp, DefaultLater, ClampLater };
struct Range {
  int64_t least = INT64_MIN;
  int64_t most = INT64_MAX;
  Outside outside = Outside::Ignore;
};
inline Range Ignoring(int64_t least, int64_t most) {
  return {least, most, Outside::Ignore};
}
inline Range Clamping(int64_t least, int64_t most) {
  return {least, most, Outside::Clamp};
}
inline Range Checked(int64_t least, int64_t most) {
  return {least, most, Outside::DefaultLater};
}
inline Range CheckedToEnd(int64_t least, int64_t most) {
  return {least, most, Outside::ClampLater};
}

Value Bool(Member<bool> member);
Value Text(Member<std::string> member);
Value LowerText(Member<std::string> member);
// Numbers are read as the C library would, whatever the locale: the text's
// beginning counts ("60 fps" is 60), a number that the type cannot hold does not.
Value Number(Member<uint32_t> member, Range range = {});
Value Number(Member<int32_t> member, Range range);
Value Number(Member<uint16_t> member, Range range);
// 0 for "none yet", or clamped.
Value NumberOrNone(Member<uint32_t> member, int64_t least, int64_t most);
// A share of the picture, 0 to 1; a value outside is ignored.
Value Share(Member<double> member);
// The same, or "auto", which is stored as -1; so is anything below 0.
Value ShareOrAuto(Member<double> member);
// Clamped to 1; below 0 and words are stored as -1, which is written as nothing.
Value ShareOrEmpty(Member<float> member);
// 0, or within the range; a value outside is ignored.
Value ZeroOr(Member<double> member, double least, double most);
// Left, top, width, height as shares, comma separated.
Value Shares(Member<std::array<float, 4>> member);
// "#RRGGBB", the "#" optional, kept in upper case.
Value Colour(Member<std::string> member);

// Texts that are one of a few words, compared without regard to case. `otherwise`:
// what any other word is read as; empty: it is ignored.
Value OneOf(Member<std::string> member, std::vector<std::string_view> words,
            std::string_view otherwise = {});

// A second spelling of one of the words, read and never written.
struct Alias {
  std::string_view word;
  uint32_t value = 0;
};
std::optional<uint32_t> FindWord(const std::vector<std::string_view>& words, Alias alias,
                                 std::string_view text);

// An enumeration by its words, in the order of its values.
template <typename Enum>
Value Words(Member<Enum> member, std::vector<std::string_view> words, Alias alias = {}) {
  Value value;
  value.read = [member, words, alias](Config& config, std::string_view text) {
    const std::optional<uint32_t> found = FindWord(words, alias, text);
    if (!found) return Taken::Ignored;
    member(config) = static_cast<Enum>(*found);
    return Taken::AsIs;
  };
  value.write = [member, words](const Config& config) {
    const auto stored = static_cast<size_t>(Of(member, config));
    return std::string(stored < words.size() ? words[stored] : words.front());
  };
  return value;
}

// As a value stands in a file: without what would begin another line, and without
// the blanks at its ends that reading takes off.
std::string OneLine(std::string_view text);

// What values and old keys read alike; nothing where the text is none of these.
std::optional<bool> ReadBool(std::string_view text);
struct ReadNumber {
  double value = 0;   // finite
  bool whole = true;  // nothing stood behind it
};
std::optional<ReadNumber> ReadDouble(std::string_view text);
struct ReadInteger {
  int64_t value = 0;
  bool whole = true;
};
std::optional<ReadInteger> ReadInt(std::string_view text);

// The rows of the sections, in the file's order.
Settings OutputSettings();   // storage, screenshot
Settings VideoSettings();    // video, recording, replay
Settings SourceSettings();   // audio, capture, webcam
Settings GameSettings();     // game_events, game_event_actions
Settings LayerSettings();    // input_overlay, captions, overlays
Settings ServiceSettings();  // hotkeys, service
Settings WindowSettings();   // window
Settings NoticeSettings();   // updates, notifications

}  // namespace orventa::schema
