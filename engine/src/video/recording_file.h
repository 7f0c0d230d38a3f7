// What a recording needs of the drive: a file that takes packets as they come, and how
// much room is left. Each file is used by its recording's thread alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/status.h"
#include "media/packet.h"
#include "mp4/movie.h"
#include "video/timeline_marks.h"

namespace orventa {

class IRecordingFile {
 public:
  virtual ~IRecordingFile() = default;
  virtual Status Open(const std::string& path, const Mp4VideoTrack& video,
                      const std::vector<Mp4AudioTrack>& sound) = 0;
  virtual Status AddVideo(const EncodedPacket& packet) = 0;
  // `track` counts the sound tracks of Open from 0.
  virtual Status AddSound(size_t track, const EncodedPacket& packet) = 0;
  // Ends the file and closes it, whatever happened before. InvalidArgument when it got
  // no picture, and then no file is left.
  virtual Status Finish(TimelineMarks marks) = 0;
  virtual uint64_t ElapsedNs() const = 0;  // from the first picture to the last
  virtual uint64_t Bytes() const = 0;      // of packets that were written
};

class IRecordingDrive {
 public:
  virtual ~IRecordingDrive() = default;
  virtual std::unique_ptr<IRecordingFile> NewFile() = 0;
  // As FreeSpace of files.h.
  virtual std::optional<uint64_t> FreeBytes(const std::string& path) = 0;
};

// The machine's own, with fragmented MP4 files. Lives as long as the program.
IRecordingDrive& MachineRecordingDrive();

}  // namespace orventa
