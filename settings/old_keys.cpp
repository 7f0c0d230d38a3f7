#include "settings/old_keys.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "base/text.h"
#include "settings/schema_table.h"

namespace orventa::schema {
namespace {

constexpr OutputKind kKinds[] = {OutputKind::Replay, OutputKind::Recording, OutputKind::Screenshot};

// One folder and one name were for all kinds; a kind that has its own already keeps it.
template <auto kMember>
Taken ForAllKinds(Config& config, std::string_view value) {
  for (const OutputKind kind : kKinds) {
    std::string& text = config.storage.Of(kind).*kMember;
    if (text == Defaults().storage.Of(kind).*kMember) text = value;
  }
  return Taken::AsIs;
}

Taken Gain(Config& config, std::string_view value) {
  const std::optional<ReadNumber> decibels = ReadDouble(value);
  if (!decibels) return Taken::Ignored;
  const double percent = std::round(100 * std::pow(10.0, decibels->value / 20));
  config.audio.microphone_volume = static_cast<uint32_t>(std::clamp(percent, 0.0, 100.0));
  return Taken::AsIs;
}

template <auto kBlock>
Taken Preset(Config& config, std::string_view value) {
  const std::string word = ToLower(value);
  const char* preset = word == "fastest"   ? "p1"
                       : word == "fast"    ? "p3"
                       : word == "quality" ? "p6"
                       : word == "slowest" ? "p7"
                                           : "p4";
  Config::Video& block = config.*kBlock;
  block.preset_h264 = block.preset_hevc = block.preset_av1 = preset;
  return Taken::AsIs;
}

template <auto kBlock>
Taken MaxBitrate(Config& config, std::string_view value) {
  const std::optional<ReadInteger> kbps = ReadInt(value);
  Config::Video& block = config.*kBlock;
  if (!kbps || kbps->value <= 0 || kbps->value > UINT32_MAX || block.bitrate_kbps == 0) {
    return Taken::Ignored;
  }
  const int64_t percent = 100 * kbps->value / block.bitrate_kbps;
  block.max_bitrate_percent = static_cast<uint32_t>(std::clamp<int64_t>(percent, 100, 400));
  return Taken::AsIs;
}

Taken Click(Config& config, std::string_view value) {
  TakeLine(config, "notifications", "recording_click", value);
  return TakeLine(config, "notifications", "replay_saved_click", value);
}

Taken SdrGame(Config& config, std::string_view value) {
  const std::optional<bool> sdr = ReadBool(value);
  if (sdr && *sdr) config.capture.dynamic_range = DynamicRange::Sdr;
  return sdr ? Taken::AsIs : Taken::Ignored;
}

Taken PlacePerGame(Config& config, std::string_view value) {
  const std::optional<bool> per_game = ReadBool(value);
  if (per_game && *per_game) config.overlays.place_per_game = true;
  return per_game ? Taken::AsIs : Taken::Ignored;
}

Taken MaximisedAsGame(Config& config, std::string_view value) {
  return TakeLine(config, "capture", "maximized_as_game", value);
}
Taken EditorContextMenu(Config& config, std::string_view value) {
  return TakeLine(config, "service", "context_menu", value);
}
Taken StartMinimised(Config& config, std::string_view value) {
  return TakeLine(config, "service", "start_in_background", value);
}
Taken NotifyOnSave(Config& config, std::string_view value) {
  return TakeLine(config, "notifications", "enabled", value);
}

Taken Nothing(Config&, std::string_view) {
  return Taken::AsIs;
}

constexpr OldKey kOldKeys[] = {
    {"output.directory", ForAllKinds<&Config::Output::directory>, "storage.replay_directory"},
    {"output.filename_pattern", ForAllKinds<&Config::Output::filename_pattern>,
     "storage.replay_filename_pattern"},
    {"audio.microphone_gain_db", Gain, "audio.microphone_volume"},
    {"video.preset", Preset<&Config::video>, "video.preset_h264"},
    {"recording.preset", Preset<&Config::recording>, "recording.preset_h264"},
    {"video.max_bitrate_kbps", MaxBitrate<&Config::video>, "video.max_bitrate_percent"},
    {"recording.max_bitrate_kbps", MaxBitrate<&Config::recording>, "recording.max_bitrate_percent"},
    {"capture.clear_buffer_on_pause", Nothing, {}},
    {"replay.disk_directory", Nothing, {}},
    {"service.written_by", Nothing, {}},
    {"notifications.when", Nothing, {}},
    {"notifications.click_action", Click, "notifications.replay_saved_click"},
    {"window.hover_scrub", Nothing, {}},
    {"capture.maximised_as_game", MaximisedAsGame, "capture.maximized_as_game"},
    {"capture.sdr_game", SdrGame, "capture.dynamic_range"},
    {"service.editor_context_menu", EditorContextMenu, "service.context_menu"},
    {"service.start_minimised", StartMinimised, "service.start_in_background"},
    {"service.notify_on_save", NotifyOnSave, "notifications.enabled"},
    {"webcam.place_per_game", PlacePerGame, "overlays.place_per_game"},
    {"input_overlay.place_per_game", PlacePerGame, "overlays.place_per_game"},
};

}  // namespace

const OldKey* FindOldKey(std::string_view name) {
  const auto* row = std::find_if(std::begin(kOldKeys), std::end(kOldKeys),
                                 [&](const OldKey& old) { return old.name == name; });
  return row == std::end(kOldKeys) ? nullptr : row;
}

}  // namespace orventa::schema
