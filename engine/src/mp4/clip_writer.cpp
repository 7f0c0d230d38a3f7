#include <new>
#include <string>

#include "base/files.h"
#include "base/log.h"
#include "mp4/annexb.h"
#include "mp4/box_io.h"
#include "mp4/buffered_file.h"
#include "mp4/clip_plan.h"
#include "mp4/failures.h"
#include "mp4/moov.h"
#include "mp4/mp4.h"

namespace orventa {
namespace {

// Left free on the drive, so that a clip never takes the last of what the rest
// of the system needs.
constexpr uint64_t kSpareBytes = uint64_t{64} << 20;

// A file that is removed again unless it is kept.
class ClipFile {
 public:
  explicit ClipFile(std::string_view path) : path_(path) {}
  ~ClipFile() {
    if (!created_ || kept_) return;
    if (!closed_) (void)out_.Close();
    const FileResult removed = RemoveFile(path_);
    if (!removed.ok()) {
      LogWarning("cannot remove '%s': %s", path_.c_str(), removed.Text().c_str());
    }
  }
  ClipFile(const ClipFile&) = delete;
  ClipFile& operator=(const ClipFile&) = delete;

  Status Create() {
    if (!out_.Create(path_).ok()) return OpenFailure(path_);
    created_ = true;
    return Status::Ok();
  }

  BufferedFile& out() { return out_; }

  Status CloseAndKeep() {
    closed_ = true;
    const FileResult result = out_.Close();
    if (!result.ok()) return WriteFailure(result);
    kept_ = true;
    return Status::Ok();
  }

 private:
  std::string path_;
  BufferedFile out_;
  bool created_ = false;
  bool closed_ = false;
  bool kept_ = false;
};

// Everything before the media data, with final offsets, and what follows it.
struct ClipLayout {
  std::vector<uint8_t> head;  // ftyp, moov and the header of mdat
  uint64_t media_bytes = 0;
  std::vector<PlannedChunk> order;
};

MoovParts PartsOf(const Mp4Movie& movie, ClipPlan& plan) {
  MoovParts parts;
  parts.video = &movie.video;
  parts.configuration = &plan.configuration;
  parts.video_table = &plan.video.table;
  for (PlannedSound& sound : plan.sound) {
    parts.sound.push_back(
        {sound.format, &sound.track.table, sound.track.cut, sound.track.delay_ns});
  }
  if (plan.webcam) {
    PlannedTrack& track = plan.webcam->track;
    parts.webcam = WebcamEntry{movie.webcam.get(),
                               &movie.webcam->placement,
                               &plan.webcam->configuration,
                               &track.table,
                               track.cut,
                               track.delay_ns};
  }
  parts.markers = movie.markers;
  parts.events = movie.events;
  parts.clip_start_ns = plan.video.first_pts_ns;
  parts.clip_end_ns = plan.video.last_pts_ns;
  parts.presses = &movie.presses;
  parts.captions = movie.captions;
  return parts;
}

// Takes the webcam out of the plan when it does not get into the movie.
ClipLayout LayOut(const Mp4Movie& movie, ClipPlan& plan) {
  ClipLayout layout;
  std::vector<uint8_t> moov;
  const MoovParts parts = PartsOf(movie, plan);
  const MoovResult built = BuildMoov(parts, moov);
  if (!built.has_webcam) plan.webcam.reset();
  layout.order = WriteOrder(plan);

  BuildFtyp(plan.configuration.sample_entry, layout.head);
  const uint64_t media_start = layout.head.size() + moov.size() + kLargeBoxHeaderBytes;
  for (const PlannedChunk& planned : layout.order) {
    TrackTable& table = planned.track->table;
    TrackChunk& chunk = table.chunks[planned.index];
    chunk.offset = media_start + layout.media_bytes;
    layout.media_bytes += table.ChunkBytes(chunk);
  }
  PatchChunkOffsets(parts, built, moov);

  ByteWriter head(layout.head);
  head.Bytes(moov);
  WriteLargeBoxHeader(head, FourCc("mdat"), layout.media_bytes + kLargeBoxHeaderBytes);
  return layout;
}

Status CheckSpace(std::string_view path, const ClipLayout& layout) {
  const auto free_bytes = FreeSpace(path);
  const uint64_t needed = layout.head.size() + layout.media_bytes + kSpareBytes;
  return free_bytes && *free_bytes < needed ? DriveFullFailure() : Status::Ok();
}

void AppendUnit(BufferedFile& out, std::span<const uint8_t> unit) {
  const auto size = static_cast<uint32_t>(unit.size());
  const uint8_t length[kUnitLengthBytes] = {
      static_cast<uint8_t>(size >> 24), static_cast<uint8_t>(size >> 16),
      static_cast<uint8_t>(size >> 8), static_cast<uint8_t>(size)};
  (void)out.Append(length);
  (void)out.Append(unit);
}

// False when the payload is not there, or no longer what was measured. Failures
// of the file stick to it.
bool AppendSample(BufferedFile& out, const PlannedTrack& track, size_t index) {
  const PlannedSample& sample = track.samples[index];
  const size_t size = track.table.sizes[index];
  const Payload payload = sample.held ? sample.held : (*track.packets)[sample.packet].Load();
  if (!payload) return false;
  const auto bytes = payload.bytes();
  if (!track.converts) {
    if (bytes.size() != size) return false;
    (void)out.Append(bytes);
    return true;
  }
  if (sample.unit_position != PlannedSample::kScan) {
    AppendUnit(out, bytes.subspan(sample.unit_position, size - kUnitLengthBytes));
    return true;
  }
  size_t appended = 0;
  SampleUnits units(bytes, track.codec);
  for (std::span<const uint8_t> unit; units.Next(unit);) {
    AppendUnit(out, unit);
    appended += kUnitLengthBytes + unit.size();
  }
  return appended == size;
}

Status AppendMedia(BufferedFile& out, const ClipLayout& layout) {
  for (const PlannedChunk& planned : layout.order) {
    const TrackChunk& chunk = planned.track->table.chunks[planned.index];
    for (size_t i = 0; i < chunk.samples; ++i) {
      if (!AppendSample(out, *planned.track, chunk.first_sample + i)) {
        return {StatusCode::DriverError, "the replay could not be read back from the drive"};
      }
      if (!out.error().ok()) return WriteFailure(out.error());
    }
  }
  return Status::Ok();
}

Status WriteClip(std::string_view path, const Mp4Movie& movie) {
  ClipPlan plan;
  if (Status status = PlanClip(movie, plan); !status.ok()) return status;
  const ClipLayout layout = LayOut(movie, plan);
  if (Status status = CheckSpace(path, layout); !status.ok()) return status;

  ClipFile file(path);
  if (Status status = file.Create(); !status.ok()) return status;
  (void)file.out().Append(layout.head);
  if (Status status = AppendMedia(file.out(), layout); !status.ok()) return status;
  return file.CloseAndKeep();
}

}  // namespace

Status WriteMp4(std::string_view path, const Mp4Movie& movie) {
  try {
    return WriteClip(path, movie);
  } catch (const std::bad_alloc&) {
    return OutOfMemoryFailure();
  }
}

}  // namespace orventa
