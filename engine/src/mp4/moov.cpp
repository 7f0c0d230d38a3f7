#include "mp4/moov.h"

#include <algorithm>

#include "base/clock.h"
#include "base/rescale.h"
#include "mp4/boxes.h"
#include "mp4/sample_entries.h"
#include "mp4/user_data.h"

namespace orventa {
namespace {

constexpr std::string_view kVideoName = "VideoHandler";
constexpr std::string_view kSoundName = "SoundHandler";
constexpr std::string_view kWebcamName = "Webcam";

// In the movie's timescale.
struct TrackTimes {
  uint64_t delay = 0;
  uint64_t segment = 0;
};

TrackTimes TimesOf(const TrackTable& table, uint64_t cut, uint64_t delay_ns) {
  TrackTimes times;
  times.delay = Rescale(delay_ns, kNsPerSecond, kMovieTimescale);
  if (table.duration > cut) {
    times.segment = Rescale(table.duration - cut, table.timescale, kMovieTimescale);
  }
  return times;
}

// A track as the track box sees it, whatever its kind.
struct TrackForm {
  TrackHeader header;
  TrackTable* table = nullptr;
  uint32_t handler = 0;
  std::string_view name;
  bool has_edits = false;
  uint64_t cut = 0;
  TrackTimes times;
  // Exactly one of the two is there.
  const Mp4AudioTrack* sound = nullptr;
  const Mp4VideoTrack* video = nullptr;
  const VideoConfiguration* configuration = nullptr;
};

TrackForm PictureForm(const Mp4VideoTrack& track, const VideoConfiguration& configuration,
                      TrackTable& table, uint32_t track_id) {
  TrackForm form;
  form.header.track_id = track_id;
  form.header.width = track.width << 16;
  form.header.height = track.height << 16;
  form.table = &table;
  form.handler = kVideoHandler;
  form.video = &track;
  form.configuration = &configuration;
  return form;
}

TrackForm VideoForm(const MoovParts& parts) {
  TrackForm form = PictureForm(*parts.video, *parts.configuration, *parts.video_table, 1);
  form.header.flags = TrackHeader::kEnabled | TrackHeader::kInMovie | TrackHeader::kInPreview;
  form.name = kVideoName;
  form.times = TimesOf(*parts.video_table, 0, 0);
  return form;
}

TrackForm SoundForm(const SoundEntry& entry, uint32_t track_id) {
  TrackForm form;
  form.header.track_id = track_id;
  form.header.flags = TrackHeader::kInMovie | TrackHeader::kInPreview;
  if (!entry.track->voice) form.header.flags |= TrackHeader::kEnabled;
  form.header.alternate_group = 1;
  form.header.volume = 0x0100;
  form.table = entry.table;
  form.handler = kSoundHandler;
  form.name = entry.track->voice ? kVoiceName : kSoundName;
  form.has_edits = entry.cut != 0 || entry.delay_ns != 0;
  form.cut = entry.cut;
  form.times = TimesOf(*entry.table, entry.cut, entry.delay_ns);
  form.sound = entry.track;
  return form;
}

// None when nothing of the webcam is seen while the video lasts.
std::optional<TrackForm> WebcamForm(const WebcamEntry& entry, uint64_t video_duration,
                                    uint32_t track_id) {
  TrackTimes times = TimesOf(*entry.table, entry.cut, entry.delay_ns);
  if (times.delay >= video_duration) return std::nullopt;
  times.segment = std::min(times.segment, video_duration - times.delay);
  if (times.segment == 0) return std::nullopt;

  TrackForm form = PictureForm(*entry.track, *entry.configuration, *entry.table, track_id);
  form.header.flags = TrackHeader::kInMovie | TrackHeader::kInPreview;
  form.name = kWebcamName;
  form.has_edits = true;
  form.cut = entry.cut;
  form.times = times;
  return form;
}

class MoovBuilder {
 public:
  MoovBuilder(std::vector<uint8_t>& out, std::vector<TrackForm> tracks)
      : out_(out), tracks_(std::move(tracks)) {
    for (const TrackForm& track : tracks_) {
      // The webcam's never reaches beyond the video's.
      duration_ = std::max(duration_, track.times.delay + track.times.segment);
      wide_ = wide_ || track.table->duration > UINT32_MAX;
    }
    wide_ = wide_ || duration_ > UINT32_MAX;
  }

  void Write(const MoovParts& parts, const UserData& user_data) {
    BoxScope moov(out_, FourCc("moov"));
    WriteMovieHeader();
    for (const TrackForm& track : tracks_) WriteTrack(track);
    if (parts.kind == MoovKind::FirstOfRecording) WriteMovieExtends();
    WriteUserData(out_, user_data);
  }

 private:
  uint8_t version() const { return wide_ ? 1 : 0; }

  void WriteMovieHeader() {
    MovieHeader header;
    header.version = version();
    header.timescale = kMovieTimescale;
    header.duration = duration_;
    header.next_track_id = static_cast<uint32_t>(tracks_.size()) + 1;
    WriteBox(out_, header);
  }

  void WriteTrack(const TrackForm& track) {
    BoxScope trak(out_, FourCc("trak"));
    TrackHeader header = track.header;
    header.version = version();
    header.duration = track.times.delay + track.times.segment;
    WriteBox(out_, header);
    if (track.has_edits) WriteEdits(track);
    WriteMedia(track);
  }

  void WriteEdits(const TrackForm& track) {
    BoxScope edts(out_, FourCc("edts"));
    BoxScope elst(out_, FourCc("elst"));
    out_.U8(version());
    out_.U24(0);
    const bool delayed = track.times.delay != 0;
    out_.U32(delayed ? 2 : 1);
    if (delayed) WriteEdit(track.times.delay, EditListEntry::kEmptyEdit);
    WriteEdit(track.times.segment, static_cast<int64_t>(track.cut));
  }

  void WriteEdit(uint64_t segment_duration, int64_t media_time) {
    EditListEntry entry;
    entry.segment_duration = segment_duration;
    entry.media_time = media_time;
    FieldWriter fields(out_);
    EditListEntry::Describe(entry, fields, version());
  }

  void WriteMedia(const TrackForm& track) {
    BoxScope mdia(out_, FourCc("mdia"));
    MediaHeader header;
    header.version = version();
    header.timescale = track.table->timescale;
    header.duration = track.table->duration;
    WriteBox(out_, header);
    {
      BoxScope hdlr(out_, FourCc("hdlr"));
      out_.U32(0);
      out_.U32(0);
      out_.U32(track.handler);
      out_.Zeros(12);
      out_.Text(track.name);
      out_.U8(0);
    }
    BoxScope minf(out_, FourCc("minf"));
    WriteMediaKindHeader(track);
    WriteDataReference();
    WriteSampleTable(track);
  }

  void WriteMediaKindHeader(const TrackForm& track) {
    if (track.sound != nullptr) {
      BoxScope smhd(out_, FourCc("smhd"));
      out_.Zeros(8);
    } else {
      BoxScope vmhd(out_, FourCc("vmhd"));
      out_.U32(1);
      out_.Zeros(8);
    }
  }

  void WriteDataReference() {
    BoxScope dinf(out_, FourCc("dinf"));
    BoxScope dref(out_, FourCc("dref"));
    out_.U32(0);
    out_.U32(1);
    BoxScope url(out_, FourCc("url "));
    out_.U32(1);  // the media is in this file
  }

  void WriteSampleTable(const TrackForm& track) {
    BoxScope stbl(out_, FourCc("stbl"));
    {
      BoxScope stsd(out_, FourCc("stsd"));
      out_.U32(0);
      out_.U32(1);
      if (track.sound != nullptr) {
        WriteSoundSampleEntry(out_, *track.sound);
      } else {
        WriteVideoSampleEntry(out_, *track.video, *track.configuration);
      }
    }
    WriteTimeToSample(*track.table);
    WriteSyncSamples(*track.table);
    WriteSampleToChunk(*track.table);
    WriteSampleSizes(*track.table);
    WriteChunkOffsets(*track.table);
  }

  void WriteTimeToSample(const TrackTable& table) {
    BoxScope stts(out_, FourCc("stts"));
    out_.U32(0);
    out_.U32(static_cast<uint32_t>(table.durations.size()));
    for (const DurationRun& run : table.durations) {
      out_.U32(run.samples);
      out_.U32(run.duration);
    }
  }

  void WriteSyncSamples(const TrackTable& table) {
    if (table.sync_samples.empty()) return;
    BoxScope stss(out_, FourCc("stss"));
    out_.U32(0);
    out_.U32(static_cast<uint32_t>(table.sync_samples.size()));
    for (const uint32_t sample : table.sync_samples) out_.U32(sample);
  }

  void WriteSampleToChunk(const TrackTable& table) {
    BoxScope stsc(out_, FourCc("stsc"));
    out_.U32(0);
    const size_t count_position = out_.position();
    out_.U32(0);
    uint32_t entries = 0;
    for (size_t i = 0; i < table.chunks.size(); ++i) {
      if (i > 0 && table.chunks[i].samples == table.chunks[i - 1].samples) continue;
      out_.U32(static_cast<uint32_t>(i + 1));
      out_.U32(table.chunks[i].samples);
      out_.U32(1);  // description
      ++entries;
    }
    out_.PatchU32(count_position, entries);
  }

  void WriteSampleSizes(const TrackTable& table) {
    BoxScope stsz(out_, FourCc("stsz"));
    out_.U32(0);
    out_.U32(0);
    out_.U32(static_cast<uint32_t>(table.sizes.size()));
    for (const uint32_t size : table.sizes) out_.U32(size);
  }

  void WriteChunkOffsets(TrackTable& table) {
    BoxScope co64(out_, FourCc("co64"));
    out_.U32(0);
    out_.U32(static_cast<uint32_t>(table.chunks.size()));
    for (TrackChunk& chunk : table.chunks) {
      chunk.co64_position = out_.position();
      out_.U64(0);
    }
  }

  void WriteMovieExtends() {
    BoxScope mvex(out_, FourCc("mvex"));
    for (const TrackForm& track : tracks_) {
      BoxScope trex(out_, FourCc("trex"));
      out_.U32(0);
      out_.U32(track.header.track_id);
      out_.U32(1);
      out_.Zeros(12);
    }
  }

  ByteWriter out_;
  std::vector<TrackForm> tracks_;
  uint64_t duration_ = 0;  // of the movie, in its timescale
  bool wide_ = false;      // 64-bit times in every box that has the choice
};

}  // namespace

MoovResult BuildMoov(const MoovParts& parts, std::vector<uint8_t>& out) {
  std::vector<TrackForm> tracks;
  tracks.push_back(VideoForm(parts));
  for (const SoundEntry& entry : parts.sound) {
    if (entry.table->empty()) continue;
    tracks.push_back(SoundForm(entry, static_cast<uint32_t>(tracks.size()) + 1));
  }

  UserData user_data;
  user_data.markers = parts.markers;
  user_data.events = parts.events;
  user_data.clip_start_ns = parts.clip_start_ns;
  user_data.clip_end_ns = parts.clip_end_ns;
  user_data.presses = parts.presses;
  user_data.captions = parts.captions;

  MoovResult result;
  if (parts.webcam) {
    const auto track_id = static_cast<uint32_t>(tracks.size()) + 1;
    const uint64_t video_duration = tracks.front().times.segment;
    if (auto webcam = WebcamForm(*parts.webcam, video_duration, track_id)) {
      tracks.push_back(*webcam);
      user_data.placement = parts.webcam->placement;
      user_data.webcam_track_id = track_id;
      result.has_webcam = true;
    }
  }
  MoovBuilder(out, std::move(tracks)).Write(parts, user_data);
  return result;
}

void PatchChunkOffsets(const MoovParts& parts, const MoovResult& built,
                       std::vector<uint8_t>& moov) {
  parts.video_table->PatchOffsets(moov);
  for (const SoundEntry& entry : parts.sound) entry.table->PatchOffsets(moov);
  if (built.has_webcam) parts.webcam->table->PatchOffsets(moov);
}

void BuildFtyp(uint32_t video_sample_entry, std::vector<uint8_t>& out) {
  ByteWriter writer(out);
  BoxScope ftyp(writer, FourCc("ftyp"));
  writer.U32(FourCc("isom"));
  writer.U32(512);
  writer.U32(FourCc("isom"));
  writer.U32(FourCc("iso2"));
  writer.U32(video_sample_entry);
  writer.U32(FourCc("mp41"));
}

}  // namespace orventa
