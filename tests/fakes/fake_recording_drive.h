// A drive for recordings with knobs: how full it is, how long a write takes, what
// fails. Its files note what they are given; on demand they are real ones, too.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/clock.h"
#include "video/recording_file.h"

namespace orventa {

struct FakeRecordingDrive final : IRecordingDrive {
  struct File {
    std::string path;
    Mp4VideoTrack video;
    std::vector<Mp4AudioTrack> sound;
    std::vector<EncodedPacket> pictures;
    std::map<size_t, std::vector<uint64_t>> sound_pts;  // by track
    TimelineMarks marks;
    uint64_t bytes = 0;
    bool finished = false;
  };

  explicit FakeRecordingDrive(IClock& the_clock) : clock(the_clock) {}
  std::unique_ptr<IRecordingFile> NewFile() override;
  std::optional<uint64_t> FreeBytes(const std::string&) override {
    return free ? free() : std::nullopt;
  }

  IClock& clock;

  // Knobs.
  Status open;
  Status write;
  Status finish;
  uint64_t write_takes_ns = 0;  // a picture
  std::function<std::optional<uint64_t>()> free;
  bool real = false;         // the files are made, too
  bool keep_packets = true;  // off: writing costs nothing

  std::vector<std::shared_ptr<File>> files;  // in the order of their opening
};

class FakeRecordingFile final : public IRecordingFile {
 public:
  explicit FakeRecordingFile(FakeRecordingDrive& drive)
      : drive_(drive), notes_(std::make_shared<FakeRecordingDrive::File>()) {
    if (drive.real) real_ = MachineRecordingDrive().NewFile();
  }
  Status Open(const std::string& path, const Mp4VideoTrack& video,
              const std::vector<Mp4AudioTrack>& sound) override {
    if (!drive_.open.ok()) return drive_.open;
    notes_->path = path;
    notes_->video = video;
    notes_->sound = sound;
    drive_.files.push_back(notes_);
    return real_ ? real_->Open(path, video, sound) : Status();
  }
  Status AddVideo(const EncodedPacket& packet) override {
    if (drive_.write_takes_ns > 0)
      drive_.clock.SleepUntil(drive_.clock.SteadyNs() + drive_.write_takes_ns);
    if (!drive_.write.ok()) return drive_.write;
    notes_->bytes += packet.data.size();
    if (drive_.keep_packets) notes_->pictures.push_back(packet);
    return real_ ? real_->AddVideo(packet) : Status();
  }
  Status AddSound(size_t track, const EncodedPacket& packet) override {
    if (!drive_.write.ok()) return drive_.write;
    if (drive_.keep_packets) notes_->sound_pts[track].push_back(static_cast<uint64_t>(packet.pts));
    return real_ ? real_->AddSound(track, packet) : Status();
  }
  Status Finish(TimelineMarks marks) override {
    notes_->marks = marks;
    notes_->finished = true;
    const Status status = real_ ? real_->Finish(std::move(marks)) : Status();
    return drive_.finish.ok() ? status : drive_.finish;
  }
  uint64_t ElapsedNs() const override {
    if (notes_->pictures.empty()) return 0;
    return static_cast<uint64_t>(notes_->pictures.back().pts - notes_->pictures.front().pts);
  }
  uint64_t Bytes() const override { return notes_->bytes; }

 private:
  FakeRecordingDrive& drive_;
  std::shared_ptr<FakeRecordingDrive::File> notes_;
  std::unique_ptr<IRecordingFile> real_;
};

inline std::unique_ptr<IRecordingFile> FakeRecordingDrive::NewFile() {
  return std::make_unique<FakeRecordingFile>(*this);
}

}  // namespace orventa
