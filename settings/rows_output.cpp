// Where files go and what they are called; screenshots.
#include "base/text.h"
#include "settings/setting.h"

namespace orventa::schema {
namespace {

using C = Config;
using Out = Config::Output;

Value FileName(Member<std::string> member) {
  Value value = Text(member);
  value.stage = CheckStage::FileNames;
  value.correct = [=](Config& config, const Config& defaults) {
    if (!Trim(Of(member, config)).empty()) return false;
    member(config) = Of(member, defaults);
    return true;
  };
  value.warning = "A file name was empty, so it went back to the default.";
  return value;
}

struct KindWords {
  std::string_view kind;
  std::string_view plural;
  std::string_view folder;  // the default one
};

template <auto kOutput>
void AppendKind(Settings& rows, const KindWords& words) {
  const auto add = [&](std::string_view key, Value value, std::string comment) {
    std::string name(words.kind);
    name += key;
    rows.push_back(
        {"storage", std::move(name), std::move(value), Effect::None, std::move(comment)});
  };
  const std::string kind(words.kind);
  const std::string plural(words.plural);
  add("_directory", Text(At<&C::storage, kOutput, &Out::directory>),
      "The folder for " + plural +
          ", as a whole path. Empty is the default: " + std::string(words.folder) +
          ". While the folder cannot be written, the default one is used.");
  add("_filename_pattern", FileName(At<&C::storage, kOutput, &Out::filename_pattern>),
      "The name of new " + plural +
          ", without the ending. %d, %m and %Y stand for day, month and year of the moment, %y for "
          "the year's last two digits, %H, %M and %S for hour, minute and second, %% for a percent "
          "sign. What a file name may not hold becomes _.");
  add("_cleanup", Bool(At<&C::storage, kOutput, &Out::cleanup>),
      "true deletes the oldest " + plural + " once their folder holds more than " + kind +
          "_limit_mb.");
  add("_limit_mb", Number(At<&C::storage, kOutput, &Out::limit_mb>),
      "How many megabytes may be kept while " + kind + "_cleanup is true. 1024 are a gigabyte.");
  add("_age_cleanup", Bool(At<&C::storage, kOutput, &Out::age_cleanup>),
      "true deletes " + plural + " older than " + kind + "_max_age_days.");
  add("_max_age_days", Number(At<&C::storage, kOutput, &Out::max_age_days>),
      "How many days they are kept, while " + kind + "_age_cleanup is true.");
  add("_permanent_delete", Bool(At<&C::storage, kOutput, &Out::permanent_delete>),
      "true deletes for good when cleaning up. false puts the files into the recycle bin, where "
      "they still take up space until it is emptied.");
  add("_delete_favorites", Bool(At<&C::storage, kOutput, &Out::delete_favorites>),
      "true lets both ways of cleaning up delete files that you have starred, too.");
}

}  // namespace

Settings OutputSettings() {
  Settings rows;
  AppendKind<&C::Storage::replay>(
      rows, {"replay", "replays and clips", "the folder ORVENTA in your videos"});
  AppendKind<&C::Storage::recording>(
      rows, {"recording", "recordings", "the folder ORVENTA in your videos"});
  AppendKind<&C::Storage::screenshot>(
      rows, {"screenshot", "screenshots", "the folder ORVENTA Screenshots in your pictures"});
  rows.push_back({"storage", "folder_per_game", Bool(At<&C::storage, &C::Storage::folder_per_game>),
                  Effect::None,
                  "true sorts every kind of file into a folder named after the game. What was "
                  "taken from a whole display goes under Monitor."});

  using S = C::Screenshot;
  const auto shot = [&](std::string key, Value value, std::string comment) {
    rows.push_back(
        {"screenshot", std::move(key), std::move(value), Effect::None, std::move(comment)});
  };
  shot("format", Words(At<&C::screenshot, &S::format>, {"png", "jpg"}, {"jpeg", 1}),
       "png keeps every pixel as it was. jpg makes files of about a tenth of that size, with "
       "traces around sharp edges.");
  shot("jpeg_quality", Number(At<&C::screenshot, &S::jpeg_quality>, Checked(1, 100)),
       "For jpg only, 1 to 100: higher looks better and makes larger files. At 90 the difference "
       "to png is hard to see.");
  shot("hdr", Bool(At<&C::screenshot, &S::hdr>),
       "true keeps screenshots of HDR games in HDR. A png then looks right on HDR displays only, a "
       "jpg on every display. false makes ordinary pictures of all games.");
  return rows;
}

}  // namespace orventa::schema
