#include "video/recording_file.h"

#include <utility>

#include "base/files.h"
#include "mp4/mp4_writer.h"

namespace orventa {
namespace {

class Mp4RecordingFile final : public IRecordingFile {
 public:
  Status Open(const std::string& path, const Mp4VideoTrack& video,
              const std::vector<Mp4AudioTrack>& sound) override {
    return writer_.Open(path, video, sound);
  }
  Status AddVideo(const EncodedPacket& packet) override { return writer_.AddVideo(packet); }
  Status AddSound(size_t track, const EncodedPacket& packet) override {
    return writer_.AddAudio(track, packet);
  }
  Status Finish(TimelineMarks marks) override {
    for (const Mp4Marker& marker : marks.markers) writer_.AddMarker(marker.time_ns, marker.label);
    for (Mp4GameEvent& event : marks.events) writer_.AddEvent(std::move(event));
    return writer_.Finish();
  }
  uint64_t ElapsedNs() const override { return writer_.ElapsedNs(); }
  uint64_t Bytes() const override { return writer_.SizeOnDisk(); }

 private:
  Mp4Writer writer_;
};

class MachineDrive final : public IRecordingDrive {
 public:
  std::unique_ptr<IRecordingFile> NewFile() override {
    return std::make_unique<Mp4RecordingFile>();
  }
  std::optional<uint64_t> FreeBytes(const std::string& path) override { return FreeSpace(path); }
};

}  // namespace

IRecordingDrive& MachineRecordingDrive() {
  static MachineDrive drive;
  return drive;
}

}  // namespace orventa
