// Reads MP4 files for the cut and the transcode: those of this system, and those
// of other tools as far as they can be trusted. Whatever the bytes, opening ends,
// stays within the file, and takes memory by the file's size: at most 32 bytes a
// sample, of which each must have 4 bytes of the file to itself. One thread at a time.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/files.h"
#include "base/status.h"
#include "mp4/movie.h"

namespace orventa {

// One sample as its file holds it. Times are in the track's timescale, and count
// from the media's start, before any edit.
struct Mp4Sample {
  uint64_t offset = 0;  // in the file; the sample lies whole within it
  uint64_t decode_time = 0;
  uint32_t size = 0;  // bytes
  uint32_t duration = 0;
  int32_t composition_offset = 0;  // shown so much later than decoded
  bool sync = false;               // decoding can begin here
};

// A track's samples in decode order, and when of them is shown.
struct Mp4Samples {
  uint32_t track_id = 0;
  uint32_t timescale = 1;  // never 0
  std::vector<Mp4Sample> samples;
  uint64_t delay_ns = 0;    // nothing is shown before
  uint64_t cut = 0;         // media skipped at the start, in the timescale
  uint64_t segment_ns = 0;  // shown from the cut on; 0: all there is
  // The edit list has further pieces, which the fields above do not tell.
  bool more_edits = false;
  // Samples are not shown in the order in which they are decoded.
  bool reordered = false;

  // From the media's start to the end of the last sample, in the timescale.
  uint64_t Duration() const;
  // When the sample is shown on the movie's timeline: less than 0 when it is cut.
  int64_t PresentationNs(const Mp4Sample& sample) const;
};

// What a file holds. Video is length-prefixed, with its sequence header put
// together from the configuration record; the header is empty where that has none.
// The rate is that of most samples, or the mean where they differ or are rounded.
// Markers and events count from the movie's start; their texts are as the file has
// them, UTF-8 or not.
struct Mp4Contents {
  Mp4Movie movie;  // without packets: these are the samples
  Mp4Samples video;
  std::vector<Mp4Samples> sound;  // one for each of movie.sound
  Mp4Samples webcam;              // when there is a movie.webcam
  // Some sound is no AAC that can be passed on, and was left out.
  bool sound_left_out = false;
};

// What to do about a file that was written in fragments, and not finished.
enum class Fragments {
  Refuse,
  Read,  // all that is whole; in a recording of ours that is the video alone
};

class Mp4Reader {
 public:
  // On failure nothing stays open. InvalidArgument with words that say what is
  // wrong with the file. May take some hundred milliseconds.
  Status Open(std::string_view path, Fragments fragments = Fragments::Refuse);
  void Close();

  bool IsOpen() const { return file_.IsOpen(); }
  // Empty unless open.
  const Mp4Contents& contents() const { return contents_; }
  // Fails when the file has become shorter, or the system does not read it.
  Status ReadSample(const Mp4Sample& sample, std::vector<uint8_t>& bytes) const;

 private:
  InputFile file_;
  Mp4Contents contents_;
};

}  // namespace orventa
