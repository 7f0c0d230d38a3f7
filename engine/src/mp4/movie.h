// What a finished clip is made of, as the writer takes it. Plain values; times are
// nanoseconds on the session timeline.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/packet.h"

namespace orventa {

enum class Mp4Codec : uint32_t { H264 = 0, Hevc = 1, Av1 = 2 };
enum class Mp4Primaries : uint32_t { Bt709 = 0, Bt2020 = 1 };
enum class Mp4Transfer : uint32_t { Sdr = 0, Pq = 1, Hlg = 2 };
enum class Mp4Matrix : uint32_t { Bt709 = 0, Bt2020 = 1 };

struct Mp4VideoTrack {
  Mp4Codec codec = Mp4Codec::H264;
  uint32_t width = 0;  // coded pixels
  uint32_t height = 0;
  uint32_t fps_num = 60;
  uint32_t fps_den = 1;
  uint32_t bit_depth = 0;  // 1: ten bits
  Mp4Primaries primaries = Mp4Primaries::Bt709;
  Mp4Transfer transfer = Mp4Transfer::Sdr;
  Mp4Matrix matrix = Mp4Matrix::Bt709;
  bool full_range = false;
  float mastering_max_nits = 0;  // 0 unknown
  float sdr_white_nits = 0;      // luminance of SDR white in an HDR file; 0 unknown
  float chromaticity[8] = {};    // red x, y; green x, y; blue x, y; white x, y
  float mastering_min_nits = 0;
  uint16_t max_cll = 0;  // 0 unknown
  uint16_t max_fall = 0;
  std::vector<uint8_t> sequence_header;  // Annex B, or one AV1 sequence header OBU
  bool length_prefixed = false;          // packets carry 4-byte lengths already

  bool operator==(const Mp4VideoTrack&) const = default;
};

struct Mp4AudioTrack {
  uint32_t sample_rate = 48000;
  uint32_t channels = 2;
  std::vector<uint8_t> config;  // AudioSpecificConfig; empty: no track
  bool voice = false;           // the mono copy of the microphone

  bool operator==(const Mp4AudioTrack&) const = default;
};

// Where the webcam is shown over the picture. Fractions of the picture, 0 to 1.
struct WebcamPlacement {
  float x = 0;
  float y = 0;
  float width = 0;
  float height = 0;
  bool flip_horizontal = false;
  bool flip_vertical = false;
  float crop_x = 0;  // fractions of the camera's picture
  float crop_y = 0;
  float crop_width = 1;
  float crop_height = 1;
  uint32_t shape = 0;  // 0 rectangle, 1 rounded, 2 circle
  float radius = 0;
  float border = 0;
  uint32_t border_color = 0xFFFFFF;  // RGB

  bool operator==(const WebcamPlacement&) const = default;
};

struct Mp4WebcamTrack : Mp4VideoTrack {
  WebcamPlacement placement;
};

struct Mp4Marker {
  uint64_t time_ns = 0;
  std::string label;  // UTF-8
};

struct Mp4GameEvent {
  uint64_t time_ns = 0;
  std::string label;
  uint8_t weight = 0;
  std::string detail;
  uint8_t side = 0;  // 0 none, 1 ours, 2 theirs
  std::string whom;
};

// Key presses, sealed by whoever recorded them; stored as given.
struct Mp4Presses {
  uint8_t seal = 0;
  std::vector<uint8_t> payload;  // empty: none
};

struct Mp4SoundTrack {
  Mp4AudioTrack format;
  std::vector<BufferedPacket> packets;
};

struct Mp4Movie {
  Mp4VideoTrack video;
  std::vector<BufferedPacket> packets;
  std::vector<Mp4SoundTrack> sound;
  std::vector<Mp4Marker> markers;
  std::vector<Mp4GameEvent> events;
  std::shared_ptr<const Mp4WebcamTrack> webcam;  // null: none
  std::vector<BufferedPacket> webcam_packets;
  Mp4Presses presses;
  std::string captions;      // text of the captions file; empty: none
  uint64_t read_budget = 0;  // bytes of payloads read once and kept, see mp4.h
};

}  // namespace orventa
