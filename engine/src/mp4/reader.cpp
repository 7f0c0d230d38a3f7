#include "mp4/reader.h"

#include <algorithm>
#include <new>
#include <string>

#include "base/clock.h"
#include "base/text.h"
#include "mp4/box_reader.h"
#include "mp4/failures.h"
#include "mp4/fragment_reader.h"
#include "mp4/moov_reader.h"

namespace orventa {
namespace {

constexpr uint64_t kMaxMoovBytes = 0x10000000;
constexpr const char* kNotFinished = "the recording was not finished";

// The first `moov` of the file.
Status LoadMoov(IByteSource& file, std::vector<uint8_t>& moov) {
  FileBoxReader boxes(file, file.Size(), OpenBox::ToTheEnd);
  for (FileBox box; boxes.Next(box);) {
    if (box.type != FourCc("moov")) continue;
    if (box.size > kMaxMoovBytes) return RefuseFile("the index is implausibly large");
    moov.resize(static_cast<size_t>(box.body_bytes()));
    if (!file.ReadAt(box.body_offset(), moov).ok()) break;
    return Status::Ok();
  }
  return RefuseFile(boxes.status().ok() && moov.empty() ? kNotFinished
                                                        : "could not read the index");
}

bool HasFragments(IByteSource& file) {
  FileBoxReader boxes(file, file.Size(), OpenBox::ToTheEnd);
  for (FileBox box; boxes.Next(box);) {
    if (box.type == FourCc("moof")) return true;
  }
  return false;
}

// Tells a recording of ours, which can be finished, from another tool's file.
Status Unfinished(IByteSource& file) {
  FileBoxReader boxes(file, file.Size(), OpenBox::ToTheEnd);
  for (FileBox box; boxes.Next(box);) {
    if (boxes.IsUuid(kRecoveryUuid)) return RefuseFile(kNotFinished);
    if (box.type == FourCc("moof") || box.type == FourCc("mdat")) break;
  }
  return RefuseFile("the file is written in fragments");
}

Status ReadContents(IByteSource& file, Fragments fragments, Mp4Contents& contents) {
  if (file.Size() < kBoxHeaderBytes) return RefuseFile("not an MP4 file");
  SampleBudget budget(file.Size());
  ReadMoovResult result;
  {
    std::vector<uint8_t> moov;
    Status status = LoadMoov(file, moov);
    if (status.ok()) status = ReadMoov(moov, budget, result);
    if (!status.ok()) return status;
  }
  // A `moov` may announce fragments, and have all samples itself.
  if (result.fragmented) {
    const bool complete = !result.contents.video.samples.empty() && !HasFragments(file);
    if (!complete && fragments == Fragments::Refuse) return Unfinished(file);
    Status status = ReadFragments(file, budget, result);
    if (!status.ok()) return status;
  }
  contents = std::move(result.contents);
  return Status::Ok();
}

}  // namespace

uint64_t Mp4Samples::Duration() const {
  return samples.empty() ? 0 : samples.back().decode_time + samples.back().duration;
}

int64_t Mp4Samples::PresentationNs(const Mp4Sample& sample) const {
  const int64_t shown = static_cast<int64_t>(sample.decode_time) + sample.composition_offset;
  const int64_t ticks = shown - static_cast<int64_t>(cut);
  const auto length_ns =
      static_cast<int64_t>(TicksToNs(static_cast<uint64_t>(ticks < 0 ? -ticks : ticks), timescale));
  return static_cast<int64_t>(delay_ns) + (ticks < 0 ? -length_ns : length_ns);
}

Status Mp4Reader::Open(std::string_view path, Fragments fragments) {
  Close();
  InputFile file;
  uint64_t file_bytes = 0;
  if (!file.Open(path).ok() || !file.Size(file_bytes).ok()) {
    return RefuseFile("cannot open '" + std::string(path) + "'");
  }
  try {
    Mp4Contents contents;
    FileSource source(file, file_bytes, path);
    Status status = ReadContents(source, fragments, contents);
    if (!status.ok()) return status;
    contents_ = std::move(contents);
  } catch (const std::bad_alloc&) {
    return OutOfMemoryFailure();
  }
  file_ = std::move(file);
  return Status::Ok();
}

void Mp4Reader::Close() {
  file_.Close();
  contents_ = {};
}

Status Mp4Reader::ReadSample(const Mp4Sample& sample, std::vector<uint8_t>& bytes) const {
  bytes.resize(sample.size);
  size_t read = 0;
  if (file_.ReadAt(sample.offset, bytes, read).ok() && read == bytes.size()) return Status::Ok();
  return {StatusCode::DriverError, Format("cannot read %u bytes at %llu", sample.size,
                                          static_cast<unsigned long long>(sample.offset))};
}

}  // namespace orventa
