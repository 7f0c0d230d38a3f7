#include "mp4/fragment_reader.h"

#include <algorithm>
#include <bit>

#include "mp4/box_reader.h"
#include "mp4/fragment.h"
#include "mp4/recording_layout.h"

namespace orventa {
namespace {

using Bytes = std::span<const uint8_t>;

// One week.
constexpr uint64_t kMaxFragmentsSeconds = 604800;

constexpr uint32_t kPerSample =
    kSampleDuration | kSampleSize | kSampleFlags | kSampleCompositionOffset;

struct FragmentTrack {
  Mp4Samples* samples = nullptr;
  uint64_t next_time = 0;  // in the track's timescale
};

// A traf, with what its tfhd settles for all its runs.
struct TrackFragment {
  FragmentTrack* track = nullptr;
  TrackExtends defaults;
  uint64_t base = 0;  // that data offsets count from
  uint64_t next = 0;  // where a run without one begins
};

// The numbers before a run's samples.
struct RunHead {
  uint32_t flags = 0;
  uint32_t samples = 0;
  bool has_first_flags = false;
  uint32_t first_flags = 0;
};

class FragmentPass {
 public:
  FragmentPass(IByteSource& file, SampleBudget& budget, ReadMoovResult& moov)
      : file_(file), budget_(budget), contents_(moov.contents), extends_(moov.extends) {
    AddTrack(contents_.video);
    if (contents_.movie.webcam) AddTrack(contents_.webcam);
    for (Mp4Samples& sound : contents_.sound) AddTrack(sound);
    const auto by_id = [](const auto& a, const auto& b) { return Id(a) < Id(b); };
    std::stable_sort(tracks_.begin(), tracks_.end(), by_id);
    std::stable_sort(extends_.begin(), extends_.end(), by_id);
  }

  Status Read() {
    FileBoxReader boxes(file_, budget_.file_bytes(), OpenBox::ToTheEnd);
    for (FileBox box; boxes.Next(box);) {
      if (box.type != FourCc("moof")) continue;
      if (box.size >= kMaxMoofBytes) return RefuseFile("a fragment's index is implausibly large");
      Bytes moof;
      if (!boxes.View(box.body_offset(), box.body_bytes(), moof).ok()) return Unreadable();
      if (Status status = ReadMoof(moof, box.offset); !status.ok()) return status;
    }
    if (!boxes.status().ok()) return Unreadable();
    if (contents_.video.samples.empty()) return RefuseFile("no picture in fragments");
    for (FragmentTrack& track : tracks_) FindReordering(*track.samples);
    return Status::Ok();
  }

 private:
  static Status Unreadable() { return RefuseFile("could not read the fragments"); }
  static uint32_t Id(const FragmentTrack& track) { return track.samples->track_id; }
  static uint32_t Id(const TrackExtends& extends) { return extends.track_id; }

  void AddTrack(Mp4Samples& samples) { tracks_.push_back({&samples, samples.Duration()}); }

  // Of rows in the order of their numbers.
  template <class Row>
  static Row* RowOf(std::vector<Row>& rows, uint32_t track_id) {
    const auto row = std::lower_bound(rows.begin(), rows.end(), track_id,
                                      [](const Row& a, uint32_t id) { return Id(a) < id; });
    return row != rows.end() && Id(*row) == track_id ? &*row : nullptr;
  }

  Status ReadMoof(Bytes moof, uint64_t moof_offset) {
    uint64_t data_end = moof_offset;
    BoxReader boxes(moof);
    for (BoxView box; boxes.Next(box);) {
      if (box.type != FourCc("traf")) continue;
      if (Status status = ReadTraf(box.body, moof_offset, data_end); !status.ok()) return status;
    }
    return Status::Ok();
  }

  // `data_end`: where the data of the traf before ended; then of this one.
  Status ReadTraf(Bytes traf, uint64_t moof_offset, uint64_t& data_end) {
    TrackFragment fragment;
    const auto tfhd = FindBox(traf, FourCc("tfhd"));
    if (!tfhd || !ReadTfhd(tfhd->body, moof_offset, data_end, fragment)) return Status::Ok();
    if (fragment.track != nullptr) {
      if (Status status = ReadTfdt(traf, *fragment.track); !status.ok()) return status;
    }
    BoxReader boxes(traf);
    for (BoxView box; boxes.Next(box);) {
      if (box.type != FourCc("trun")) continue;
      if (Status status = ReadTrun(box.body, fragment); !status.ok()) return status;
    }
    data_end = fragment.next;
    return Status::Ok();
  }

  bool ReadTfhd(Bytes tfhd, uint64_t moof_offset, uint64_t data_end, TrackFragment& fragment) {
    ByteReader in(tfhd);
    const uint32_t flags = in.U32() & 0xFFFFFF;
    const uint32_t track_id = in.U32();
    fragment.track = RowOf(tracks_, track_id);
    const TrackExtends* extends = RowOf(extends_, track_id);
    if (extends != nullptr) fragment.defaults = *extends;
    fragment.base = (flags & kDefaultBaseIsMoof) != 0 ? moof_offset : data_end;
    if ((flags & kBaseDataOffset) != 0) fragment.base = in.U64();
    if ((flags & kSampleDescriptionIndex) != 0) in.Skip(4);
    TrackExtends& defaults = fragment.defaults;
    if ((flags & kDefaultSampleDuration) != 0) defaults.default_sample_duration = in.U32();
    if ((flags & kDefaultSampleSize) != 0) defaults.default_sample_size = in.U32();
    if ((flags & kDefaultSampleFlags) != 0) defaults.default_sample_flags = in.U32();
    fragment.next = fragment.base;
    return !in.failed();
  }

  // Times never go back, so that samples stay in order.
  static Status ReadTfdt(Bytes traf, FragmentTrack& track) {
    const auto tfdt = FindBox(traf, FourCc("tfdt"));
    if (!tfdt) return Status::Ok();
    FieldReader fields(tfdt->body);
    uint8_t version = 0;
    uint64_t time = 0;
    fields.U8(version);
    fields.Zeros(3);
    fields.Sized(version, time);
    if (!fields.ok()) return Status::Ok();
    track.next_time = std::max(track.next_time, time);
    return CheckTime(track);
  }

  static Status CheckTime(const FragmentTrack& track) {
    const uint64_t longest = kMaxFragmentsSeconds * track.samples->timescale;
    if (track.next_time <= longest) return Status::Ok();
    return RefuseFile("the fragments' length is not to be believed");
  }

  Status ReadTrun(Bytes trun, TrackFragment& fragment) {
    ByteReader in(trun);
    RunHead head;
    head.flags = in.U32() & 0xFFFFFF;
    head.samples = in.U32();
    uint64_t offset = fragment.next;
    if ((head.flags & kDataOffset) != 0) {
      // A sum that is no place in the file fits nowhere in it, whichever way it wraps.
      offset = fragment.base + static_cast<uint64_t>(int64_t{static_cast<int32_t>(in.U32())});
    }
    head.has_first_flags = (head.flags & kFirstSampleFlags) != 0;
    if (head.has_first_flags) head.first_flags = in.U32();
    const size_t row_bytes =
        sizeof(uint32_t) * static_cast<size_t>(std::popcount(head.flags & kPerSample));
    if (in.failed() || (row_bytes > 0 && head.samples > in.remaining() / row_bytes)) {
      return Status::Ok();
    }

    const Bytes rows = in.Bytes(row_bytes * head.samples);
    const uint64_t bytes = BytesOfRun(head, rows, fragment.defaults);
    const uint64_t file_bytes = budget_.file_bytes();
    if (offset > file_bytes || bytes > file_bytes - offset) return Status::Ok();
    fragment.next = offset + bytes;
    return fragment.track != nullptr ? AddRun(head, rows, offset, fragment) : Status::Ok();
  }

  static uint64_t BytesOfRun(const RunHead& head, Bytes rows, const TrackExtends& defaults) {
    if ((head.flags & kSampleSize) == 0) {
      return uint64_t{head.samples} * defaults.default_sample_size;
    }
    uint64_t sum = 0;
    ByteReader in(rows);
    for (uint32_t i = 0; i < head.samples; ++i) sum += ReadRow(in, head, defaults).size;
    return sum;
  }

  static Mp4Sample ReadRow(ByteReader& in, const RunHead& head, const TrackExtends& defaults) {
    Mp4Sample sample;
    const auto field = [&](TrunFlag flag, uint32_t otherwise) {
      return (head.flags & flag) != 0 ? in.U32() : otherwise;
    };
    sample.duration = field(kSampleDuration, defaults.default_sample_duration);
    sample.size = field(kSampleSize, defaults.default_sample_size);
    sample.sync = (field(kSampleFlags, defaults.default_sample_flags) & kNonSyncSample) == 0;
    sample.composition_offset = static_cast<int32_t>(field(kSampleCompositionOffset, 0));
    return sample;
  }

  Status AddRun(const RunHead& head, Bytes rows, uint64_t offset, const TrackFragment& fragment) {
    if (Status status = budget_.Take(head.samples); !status.ok()) return status;
    FragmentTrack& track = *fragment.track;
    auto& samples = track.samples->samples;
    const size_t first = samples.size();
    ByteReader in(rows);
    for (uint32_t i = 0; i < head.samples; ++i) {
      Mp4Sample sample = ReadRow(in, head, fragment.defaults);
      if (i == 0 && head.has_first_flags && (head.flags & kSampleFlags) == 0) {
        sample.sync = (head.first_flags & kNonSyncSample) == 0;
      }
      sample.offset = offset;
      sample.decode_time = track.next_time;
      offset += sample.size;
      track.next_time += sample.duration;
      samples.push_back(sample);
    }
    Status status = budget_.TakeBytes(std::span<const Mp4Sample>(samples).subspan(first));
    return status.ok() ? CheckTime(track) : status;
  }

  IByteSource& file_;
  SampleBudget& budget_;
  Mp4Contents& contents_;
  // Both in the order of the tracks' numbers.
  std::vector<FragmentTrack> tracks_;
  std::vector<TrackExtends> extends_;
};

}  // namespace

Status ReadFragments(IByteSource& file, SampleBudget& budget, ReadMoovResult& moov) {
  if (Status status = FragmentPass(file, budget, moov).Read(); !status.ok()) return status;
  FindRate(moov.contents.video, moov.contents.movie.video);
  return Status::Ok();
}

}  // namespace orventa
