// A recording in progress: a fragmented file that holds at any moment all that a
// repair needs (repair.h), and becomes an ordinary MP4 at its end by one write of
// 16 bytes. Used by one thread at a time, a recording's or an export's writer
// thread; every call but the small setters may wait for the drive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "media/packet.h"
#include "mp4/movie.h"

namespace orventa {

class Mp4Writer {
 public:
  Mp4Writer();
  ~Mp4Writer();  // finishes, and drops what that says
  Mp4Writer(const Mp4Writer&) = delete;
  Mp4Writer& operator=(const Mp4Writer&) = delete;

  // Makes the file; when that fails, there is none. Sound tracks keep their index
  // in `sound`, also behind one without a config, which is no track. A writer may
  // be opened again once it is finished.
  Status Open(std::string_view path, const Mp4VideoTrack& video,
              const std::vector<Mp4AudioTrack>& sound,
              std::shared_ptr<const Mp4WebcamTrack> webcam = nullptr);
  bool IsOpen() const;

  // Packets of a track come in the order of their times; tracks may be apart by any
  // time. A packet with nothing to keep is no sample, and success. After a write
  // that failed every call says so again and touches nothing.
  Status AddVideo(const EncodedPacket& packet);
  // A packet lasts 1024 samples. For a track that there is not, nothing is done.
  Status AddAudio(size_t track, const EncodedPacket& packet);
  // Nothing is done without a webcam track or before its first keyframe.
  Status AddWebcam(const EncodedPacket& packet);
  // Adds the webcam's track, which was not known at the start. Nothing is done when
  // there is one, or when this one cannot be described.
  Status AttachWebcam(std::shared_ptr<const Mp4WebcamTrack> webcam);

  // Kept for the end; a repaired file has none of these. Before or after Open.
  void AddMarker(uint64_t time_ns, std::string_view label);
  void AddEvent(Mp4GameEvent event);
  void SetPresses(Mp4Presses presses);
  void SetCaptions(std::string captions);
  // Until when the last picture lasts; no effect before its own end.
  void SetEndTime(uint64_t time_ns);
  void SetContentLight(uint16_t max_cll, uint16_t max_fall);

  // From the first picture to the last one, and the bytes of samples in the file.
  // Stay what they were when the writer finishes.
  uint64_t ElapsedNs() const;
  uint64_t SizeOnDisk() const;

  // The result of the whole recording. After a failure the file is kept for the
  // repair if it holds any picture, and deleted otherwise. Success and nothing done
  // when the writer is not open.
  Status Finish();

 private:
  class Recording;
  struct Extras;
  std::unique_ptr<Recording> recording_;  // null: not open
  std::unique_ptr<Extras> extras_;
  uint64_t last_elapsed_ns_ = 0;  // of the finished recording
  uint64_t last_size_ = 0;
};

}  // namespace orventa
