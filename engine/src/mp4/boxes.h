// The boxes of fixed form: plain structs with the standard's names, fields in
// file order, and one description that both writes and reads (box_io.h). Boxes
// that are lists of samples are written straight from a TrackTable (moov.cpp).
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "mp4/box_io.h"

namespace orventa {

using BoxUuid = std::array<uint8_t, 16>;

inline constexpr BoxUuid kSdrWhiteUuid = {'O', 'R', 'V', 'E', 'N', 'T', 'A', 0,
                                          'S', 'D', 'R', 'W', 'H', 'I', 'T', 'E'};
inline constexpr BoxUuid kEventsUuid = {'O', 'R', 'V', 'E', 'N', 'T', 'A', 0,
                                        'E', 'V', 'E', 'N', 'T', 'S', 0,   1};
inline constexpr BoxUuid kWebcamUuid = {'O', 'R', 'V', 'E', 'N', 'T', 'A', 0,
                                        'W', 'E', 'B', 'C', 'A', 'M', 0,   1};
inline constexpr BoxUuid kInputsUuid = {'O', 'R', 'V', 'E', 'N', 'T', 'A', 0,
                                        'I', 'N', 'P', 'U', 'T', 'S', 0,   1};
inline constexpr BoxUuid kCaptionsUuid = {'O', 'R', 'V', 'E', 'N', 'T', 'A', 0,
                                          'C', 'A', 'P', 'T', 'N', 'S', 0,   1};

// What a recording can be finished by when it was cut off; it is no part of a
// finished file.
inline constexpr BoxUuid kRecoveryUuid = {'O', 'R', 'V', 'E', 'N', 'T', 'A', '!',
                                          'm', 'p', '4', 'r', 'e', 'c', 'v', '1'};

// The byte after the type of every `uuid` box of ours in a `moov`.
inline constexpr uint8_t kUuidVersion = 1;

// The handlers of the tracks in use. A voice track is told by its name alone.
inline constexpr uint32_t kVideoHandler = FourCc("vide");
inline constexpr uint32_t kSoundHandler = FourCc("soun");
inline constexpr std::string_view kVoiceName = "ORVENTA Voice";

inline constexpr std::array<uint32_t, 9> kUnityMatrix = {0x00010000, 0, 0, 0,         0x00010000,
                                                         0,          0, 0, 0x40000000};

// mvhd
struct MovieHeader {
  static constexpr uint32_t kType = FourCc("mvhd");

  uint8_t version = 0;
  uint32_t flags = 0;
  uint64_t creation_time = 0;
  uint64_t modification_time = 0;
  uint32_t timescale = 0;
  uint64_t duration = 0;
  uint32_t rate = 0x00010000;
  uint16_t volume = 0x0100;
  std::array<uint32_t, 9> matrix = kUnityMatrix;
  uint32_t next_track_id = 0;

  bool operator==(const MovieHeader&) const = default;

  template <class Self, class Fields>
  static void Describe(Self& self, Fields& fields) {
    fields.U8(self.version);
    fields.U24(self.flags);
    fields.Sized(self.version, self.creation_time);
    fields.Sized(self.version, self.modification_time);
    fields.U32(self.timescale);
    fields.Sized(self.version, self.duration);
    fields.U32(self.rate);
    fields.U16(self.volume);
    fields.Zeros(10);
    for (auto& value : self.matrix) fields.U32(value);
    fields.Zeros(24);
    fields.U32(self.next_track_id);
  }
};

// tkhd
struct TrackHeader {
  static constexpr uint32_t kType = FourCc("tkhd");
  static constexpr uint32_t kEnabled = 1;
  static constexpr uint32_t kInMovie = 2;
  static constexpr uint32_t kInPreview = 4;

  uint8_t version = 0;
  uint32_t flags = 0;
  uint64_t creation_time = 0;
  uint64_t modification_time = 0;
  uint32_t track_id = 0;
  uint64_t duration = 0;  // in the movie's timescale
  uint16_t layer = 0;
  uint16_t alternate_group = 0;
  uint16_t volume = 0;
  std::array<uint32_t, 9> matrix = kUnityMatrix;
  uint32_t width = 0;  // 16.16 pixels
  uint32_t height = 0;

  bool operator==(const TrackHeader&) const = default;

  template <class Self, class Fields>
  static void Describe(Self& self, Fields& fields) {
    fields.U8(self.version);
    fields.U24(self.flags);
    fields.Sized(self.version, self.creation_time);
    fields.Sized(self.version, self.modification_time);
    fields.U32(self.track_id);
    fields.Zeros(4);
    fields.Sized(self.version, self.duration);
    fields.Zeros(8);
    fields.U16(self.layer);
    fields.U16(self.alternate_group);
    fields.U16(self.volume);
    fields.Zeros(2);
    for (auto& value : self.matrix) fields.U32(value);
    fields.U32(self.width);
    fields.U32(self.height);
  }
};

// One entry of an elst, whose header and count stand before it.
struct EditListEntry {
  static constexpr int64_t kEmptyEdit = -1;

  uint64_t segment_duration = 0;  // in the movie's timescale
  int64_t media_time = 0;         // in the track's timescale
  uint32_t media_rate = 0x00010000;

  bool operator==(const EditListEntry&) const = default;

  template <class Self, class Fields>
  static void Describe(Self& self, Fields& fields, uint8_t version) {
    fields.Sized(version, self.segment_duration);
    fields.SizedSigned(version, self.media_time);
    fields.U32(self.media_rate);
  }
};

// mdhd
struct MediaHeader {
  static constexpr uint32_t kType = FourCc("mdhd");

  uint8_t version = 0;
  uint32_t flags = 0;
  uint64_t creation_time = 0;
  uint64_t modification_time = 0;
  uint32_t timescale = 0;
  uint64_t duration = 0;
  uint16_t language = 0x55C4;  // "und"

  bool operator==(const MediaHeader&) const = default;

  template <class Self, class Fields>
  static void Describe(Self& self, Fields& fields) {
    fields.U8(self.version);
    fields.U24(self.flags);
    fields.Sized(self.version, self.creation_time);
    fields.Sized(self.version, self.modification_time);
    fields.U32(self.timescale);
    fields.Sized(self.version, self.duration);
    fields.U16(self.language);
    fields.Zeros(2);
  }
};

// colr with nclx
struct ColourInformation {
  static constexpr uint32_t kType = FourCc("colr");
  static constexpr std::array<uint8_t, 4> kColourType = {'n', 'c', 'l', 'x'};

  uint16_t colour_primaries = 1;
  uint16_t transfer_characteristics = 1;
  uint16_t matrix_coefficients = 1;
  uint8_t full_range_flag = 0;  // 0x80 or 0

  bool operator==(const ColourInformation&) const = default;

  template <class Self, class Fields>
  static void Describe(Self& self, Fields& fields) {
    fields.Fixed(kColourType);
    fields.U16(self.colour_primaries);
    fields.U16(self.transfer_characteristics);
    fields.U16(self.matrix_coefficients);
    fields.U8(self.full_range_flag);
  }
};

// mdcv
struct MasteringDisplayColourVolume {
  static constexpr uint32_t kType = FourCc("mdcv");

  // Green x, y; blue x, y; red x, y; white x, y; in units of 1/50000. BT.2020
  // with white D65 unless the display's own are known.
  std::array<uint16_t, 8> chromaticities = {8500, 39850, 6550, 2300, 35400, 14600, 15635, 16450};
  uint32_t max_luminance = 0;  // in units of 1/10000 nit
  uint32_t min_luminance = 0;

  bool operator==(const MasteringDisplayColourVolume&) const = default;

  template <class Self, class Fields>
  static void Describe(Self& self, Fields& fields) {
    for (auto& value : self.chromaticities) fields.U16(value);
    fields.U32(self.max_luminance);
    fields.U32(self.min_luminance);
  }
};

// clli
struct ContentLightLevel {
  static constexpr uint32_t kType = FourCc("clli");

  uint16_t max_content_light_level = 0;  // nits
  uint16_t max_pic_average_light_level = 0;

  bool operator==(const ContentLightLevel&) const = default;

  template <class Self, class Fields>
  static void Describe(Self& self, Fields& fields) {
    fields.U16(self.max_content_light_level);
    fields.U16(self.max_pic_average_light_level);
  }
};

// uuid with kSdrWhiteUuid: the luminance that SDR white has in an HDR file.
struct SdrWhite {
  static constexpr uint32_t kType = FourCc("uuid");

  uint8_t version = kUuidVersion;
  uint32_t luminance = 0;  // in units of 1/10000 nit

  bool operator==(const SdrWhite&) const = default;

  template <class Self, class Fields>
  static void Describe(Self& self, Fields& fields) {
    fields.Fixed(kSdrWhiteUuid);
    fields.U8(self.version);
    fields.U32(self.luminance);
  }
};

// uuid with kWebcamUuid: where a player of ours shows the webcam track.
// Fractions are in millionths.
struct WebcamOverlay {
  static constexpr uint32_t kType = FourCc("uuid");
  static constexpr uint8_t kFlipHorizontal = 1;
  static constexpr uint8_t kFlipVertical = 2;

  uint8_t version = kUuidVersion;
  uint32_t track_id = 0;
  std::array<uint32_t, 4> place = {};  // x, y, width, height
  uint8_t flags = 0;
  std::array<uint32_t, 4> crop = {};  // x, y, width, height
  uint8_t shape = 0;
  uint32_t radius = 0;
  uint32_t border = 0;
  uint32_t border_color = 0;  // low 24 bits: RGB

  bool operator==(const WebcamOverlay&) const = default;

  template <class Self, class Fields>
  static void Describe(Self& self, Fields& fields) {
    fields.Fixed(kWebcamUuid);
    fields.U8(self.version);
    fields.U32(self.track_id);
    for (auto& value : self.place) fields.U32(value);
    fields.U8(self.flags);
    for (auto& value : self.crop) fields.U32(value);
    fields.U8(self.shape);
    fields.U32(self.radius);
    fields.U32(self.border);
    fields.U32(self.border_color);
  }
};

}  // namespace orventa
