// All settings as one plain value; threads work on copies. The defaults are the
// product's. Keys of later subsystems join as those land.
#pragma once

#include <cstdint>
#include <string>

#include "encoders/encoder.h"

namespace orventa {

enum class ReplayStorage : uint32_t { Memory = 0, Disk = 1 };
enum class DynamicRange : uint32_t { Auto = 0, Sdr = 1, Hdr = 2 };
enum class OutputKind : uint32_t { Replay = 0, Recording = 1, Screenshot = 2 };
inline constexpr uint32_t kOutputKindCount = 3;

struct Config {
  struct Output {
    std::string directory;  // UTF-8; empty: the kind's default folder
    std::string filename_pattern;
    bool operator==(const Output&) const = default;
  };
  struct Storage {
    Output replay{"", "ORVENTA Replay %d-%m-%Y %H-%M-%S"};
    Output recording{"", "ORVENTA Recording %d-%m-%Y %H-%M-%S"};
    Output screenshot{"", "ORVENTA Screenshot %d-%m-%Y %H-%M-%S"};
    bool folder_per_game = true;
    bool operator==(const Storage&) const = default;
    const Output& Of(OutputKind kind) const {
      return kind == OutputKind::Replay      ? replay
             : kind == OutputKind::Recording ? recording
                                             : screenshot;
    }
  };
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
    bool microphone = false;
    bool operator==(const Audio&) const = default;
  };
  struct Capture {
    bool capture_cursor = true;
    DynamicRange dynamic_range = DynamicRange::Auto;
    bool operator==(const Capture&) const = default;
  };
  struct Service {
    uint32_t save_seconds = 30;  // 0: the whole replay
    bool start_with_windows = true;
    bool start_in_background = true;
    bool remember_pause = false;
    bool paused = false;
    bool operator==(const Service&) const = default;
  };

  Storage storage;
  Video video;
  Video recording;
  bool recording_use_video_settings = true;
  std::string adapter;  // the driver's name of the graphics card; empty: the best
  Replay replay;
  Audio audio;
  Capture capture;
  Service service;

  bool operator==(const Config&) const = default;
};

}  // namespace orventa
