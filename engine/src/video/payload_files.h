// The files of a history that lies on disk: raw access units end to end, a new
// file at the first keyframe past 64 MiB, so that a keyframe group never spans two.
// Only the process that wrote them reads them, through tables in memory.
// Belongs to one ReplayBuffer, which calls it under its lock.
#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/files.h"

namespace orventa {

// Where one payload lies.
struct PayloadPlace {
  uint64_t segment = 0;  // the file's number
  uint64_t offset = 0;   // bytes
  uint64_t size = 0;
};

// The file of a segment; its number is written in decimal.
std::string PayloadPath(std::string_view folder, std::string_view prefix, uint64_t segment);

class PayloadFiles {
 public:
  static constexpr uint64_t kSegmentBytes = 64U << 20U;  // a file this long is full

  PayloadFiles() = default;
  ~PayloadFiles();
  PayloadFiles(const PayloadFiles&) = delete;
  PayloadFiles& operator=(const PayloadFiles&) = delete;

  // Takes a folder after removing everything from the one before, makes it and
  // removes what an earlier run left there. False, and nothing is open, when it
  // cannot be made. An empty folder only closes.
  bool Open(const std::string& folder, const std::string& prefix);
  bool IsOpen() const { return !folder_.empty(); }
  const std::string& folder() const { return folder_; }
  const std::string& prefix() const { return prefix_; }

  // Writes a payload to the newest file. After a failure the file counts as full
  // and only a keyframe may come next.
  bool Write(std::span<const uint8_t> bytes, bool keyframe, PayloadPlace& place);
  // A group began in the newest file.
  void AddGroup();
  // A group of that file is gone; its last one takes the file along.
  void ReleaseGroup(uint64_t segment);
  // Drops all files; numbers go on.
  void Clear();

  // While a snapshot is open no file is deleted, only listed for it.
  void OpenSnapshot() noexcept { ++open_snapshots_; }
  void CloseSnapshot();

 private:
  struct PayloadSegment {
    uint64_t number = 0;
    uint64_t bytes = 0;
    uint32_t groups = 0;  // how many still have packets in it
  };

  bool Rotate();
  void Delete(uint64_t segment);
  void RemoveStale();

  std::string folder_;
  std::string prefix_;
  std::deque<PayloadSegment> segments_;
  uint64_t next_segment_number_ = 0;
  OutputFile output_;  // the newest segment's
  uint32_t open_snapshots_ = 0;
  std::vector<std::string> delete_later_;
};

}  // namespace orventa
