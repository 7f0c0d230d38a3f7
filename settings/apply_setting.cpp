#include "settings/apply_setting.h"

#include <algorithm>
#include <array>
#include <optional>

#include "base/text.h"

namespace orventa {
namespace {

// False: the value is not one that the key can hold.
using Apply = bool (*)(Config& config, std::string_view value);

struct Row {
  std::string_view key;
  Apply apply;
};

bool SetNumber(std::string_view value, uint32_t least, uint32_t most, uint32_t& field) {
  const std::optional<uint64_t> number = ParseUnsigned(value);
  if (!number || *number < least || *number > most) return false;
  field = static_cast<uint32_t>(*number);
  return true;
}

bool SetBool(std::string_view value, bool& field) {
  if (value == "true" || value == "1") {
    field = true;
  } else if (value == "false" || value == "0") {
    field = false;
  } else {
    return false;
  }
  return true;
}

bool SetResolution(std::string_view value, uint32_t& field) {
  if (value == "native" || value == "0") {
    field = 0;
    return true;
  }
  return SetNumber(value, 360, 4320, field);
}

// By the words that the enumeration itself gives.
template <typename Enum, size_t kCount>
bool SetWord(std::string_view value, std::string_view (*word_of)(Enum), Enum& field) {
  for (uint32_t i = 0; i < kCount; ++i) {
    if (word_of(static_cast<Enum>(i)) != value) continue;
    field = static_cast<Enum>(i);
    return true;
  }
  return false;
}

bool SetStorage(std::string_view value, ReplayStorage& field) {
  if (value != "memory" && value != "disk") return false;
  field = value == "disk" ? ReplayStorage::Disk : ReplayStorage::Memory;
  return true;
}

constexpr std::array kRows = {
    Row{"video.fps",
        [](Config& c, std::string_view v) { return SetNumber(v, 1, 480, c.video.fps); }},
    Row{"video.bitrate_kbps",
        [](Config& c, std::string_view v) {
          if (!SetNumber(v, 500, 500'000, c.video.bitrate_kbps)) return false;
          // Whoever names a bitrate has chosen it.
          c.video.bitrate_auto = false;
          return true;
        }},
    Row{"video.codec",
        [](Config& c, std::string_view v) {
          return SetWord<Codec, kCodecCount>(v, CodecWord, c.video.codec);
        }},
    Row{"video.preset_h264",
        [](Config& c, std::string_view v) {
          c.video.preset_h264 = v;
          return true;
        }},
    Row{"video.resolution",
        [](Config& c, std::string_view v) { return SetResolution(v, c.video.resolution); }},
    Row{"video.keyframe_interval_seconds",
        [](Config& c, std::string_view v) {
          return SetNumber(v, 1, 60, c.video.keyframe_interval_seconds);
        }},
    Row{"video.rate_control",
        [](Config& c, std::string_view v) {
          return SetWord<RateControl, 3>(v, RateControlWord, c.video.rate_control);
        }},
    Row{"replay.duration_seconds",
        [](Config& c, std::string_view v) {
          return SetNumber(v, 1, 3600, c.replay.duration_seconds);
        }},
    Row{"replay.storage",
        [](Config& c, std::string_view v) { return SetStorage(v, c.replay.storage); }},
    Row{"storage.replay_directory",
        [](Config& c, std::string_view v) {
          c.storage.replay.directory = v;
          return true;
        }},
    Row{"storage.folder_per_game",
        [](Config& c, std::string_view v) { return SetBool(v, c.storage.folder_per_game); }},
    Row{"service.save_seconds",
        [](Config& c, std::string_view v) {
          return SetNumber(v, 0, 3600, c.service.save_seconds);
        }},
    Row{"capture.capture_cursor",
        [](Config& c, std::string_view v) { return SetBool(v, c.capture.capture_cursor); }},
};

}  // namespace

Status ApplySetting(Config& config, std::string_view key, std::string_view value) {
  const std::string wanted = ToLower(Trim(key));
  const auto row = std::find_if(kRows.begin(), kRows.end(),
                                [&](const Row& candidate) { return candidate.key == wanted; });
  if (row == kRows.end()) return {StatusCode::InvalidArgument, "unknown setting: " + wanted};
  if (!row->apply(config, Trim(value))) {
    return {StatusCode::InvalidArgument,
            Format("%s cannot be \"%s\"", wanted.c_str(), std::string(Trim(value)).c_str())};
  }
  return Status::Ok();
}

}  // namespace orventa
