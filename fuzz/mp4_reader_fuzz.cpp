// A file that claims to be an MP4: whatever the bytes, opening ends with what lies
// within the file, or with words, and what was opened can be read and written again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

#include "mp4/configuration.h"
#include "mp4/reader.h"
#include "tests/fakes/temp_folder.h"

namespace {

using namespace orventa;

void Require(bool condition) {
  if (!condition) std::abort();
}

// Adds what the samples take of the file.
void CheckSamples(const Mp4Samples& track, uint64_t file_bytes, uint64_t& taken) {
  Require(track.timescale != 0);
  uint64_t earliest = 0;
  for (const Mp4Sample& sample : track.samples) {
    Require(sample.offset <= file_bytes && sample.size <= file_bytes - sample.offset);
    Require(sample.decode_time >= earliest);
    earliest = sample.decode_time + sample.duration;
    taken += std::max<uint64_t>(sample.size, 4);
    (void)track.PresentationNs(sample);
  }
  Require(track.Duration() == earliest || track.samples.empty());
}

void CheckContents(const Mp4Reader& reader, uint64_t file_bytes) {
  const Mp4Contents& contents = reader.contents();
  Require(!contents.video.samples.empty());
  Require(contents.sound.size() == contents.movie.sound.size());
  uint64_t taken = 0;
  CheckSamples(contents.video, file_bytes, taken);
  CheckSamples(contents.webcam, file_bytes, taken);
  for (const Mp4Samples& sound : contents.sound) CheckSamples(sound, file_bytes, taken);
  Require(taken <= file_bytes);
  std::vector<uint8_t> bytes;
  Require(reader.ReadSample(contents.video.samples.back(), bytes).ok());
  VideoConfiguration configuration;
  (void)BuildConfiguration(contents.movie.video, configuration);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const TempFolder folder;
  static const std::string path = folder / "in.mp4";
  OutputFile out;
  Require(out.Create(path).ok() && out.Write({data, size}).ok() && out.Close().ok());
  for (const Fragments fragments : {Fragments::Refuse, Fragments::Read}) {
    Mp4Reader reader;
    const Status status = reader.Open(path, fragments);
    Require(status.ok() == status.message().empty() && status.ok() == reader.IsOpen());
    if (status.ok()) CheckContents(reader, size);
  }
  return 0;
}
