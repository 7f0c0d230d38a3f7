#include "video/payload_files.h"

#include <algorithm>
#include <set>

#include "base/mutex.h"

namespace orventa {
namespace {

constexpr std::string_view kExtension = ".bin";

// Payload files that some history of this process still needs. An engine that was
// started anew may share the folder with the history of its forerunner, which a
// save in progress keeps alive: neither may overwrite or sweep away the other's.
class LiveFiles {
 public:
  // False when another history holds it.
  bool Claim(const std::string& path) {
    MutexLock lock(mutex_);
    return paths_.insert(path).second;
  }
  void Release(const std::string& path) {
    MutexLock lock(mutex_);
    paths_.erase(path);
  }
  bool Contains(const std::string& path) {
    MutexLock lock(mutex_);
    return paths_.count(path) != 0;
  }

  static LiveFiles& Instance() {
    static LiveFiles files;
    return files;
  }

 private:
  Mutex mutex_;
  std::set<std::string> paths_ ORVENTA_GUARDED_BY(mutex_);
};

// A file that stays because the system refuses is swept by the next history here.
void RemoveClaimed(const std::string& path) {
  (void)RemoveFile(path);
  LiveFiles::Instance().Release(path);
}

}  // namespace

std::string PayloadPath(std::string_view folder, std::string_view prefix, uint64_t segment) {
  std::string name(prefix);
  name += std::to_string(segment);
  name += kExtension;
  return JoinPath(folder, name);
}

PayloadFiles::~PayloadFiles() {
  Clear();
  for (const std::string& path : delete_later_) RemoveClaimed(path);
}

bool PayloadFiles::Open(const std::string& folder, const std::string& prefix) {
  Clear();
  folder_.clear();
  prefix_ = prefix;
  if (folder.empty() || !CreateFolders(folder).ok()) return false;
  folder_ = folder;
  RemoveStale();
  return true;
}

bool PayloadFiles::Write(std::span<const uint8_t> bytes, bool keyframe, PayloadPlace& place) {
  const bool keep = output_.IsOpen() && !segments_.empty() &&
                    (!keyframe || segments_.back().bytes < kSegmentBytes);
  if (!keep && !Rotate()) return false;
  PayloadSegment& segment = segments_.back();
  place = {segment.number, segment.bytes, bytes.size()};
  if (!output_.Write(bytes).ok()) {
    // The file's end is undefined now, so nothing may be written behind it.
    segment.bytes = std::max(segment.bytes, kSegmentBytes);
    return false;
  }
  segment.bytes += bytes.size();
  return true;
}

bool PayloadFiles::Rotate() {
  (void)output_.Close();  // every write was checked on its own
  if (!segments_.empty() && segments_.back().groups == 0) {
    Delete(segments_.back().number);
    segments_.pop_back();
  }
  uint64_t number = next_segment_number_++;
  std::string path = PayloadPath(folder_, prefix_, number);
  while (!LiveFiles::Instance().Claim(path)) {
    number = next_segment_number_++;
    path = PayloadPath(folder_, prefix_, number);
  }
  if (!output_.Create(path).ok()) {
    LiveFiles::Instance().Release(path);
    return false;
  }
  HideFile(path);
  segments_.push_back({number, 0, 0});
  return true;
}

void PayloadFiles::AddGroup() {
  ++segments_.back().groups;
}

void PayloadFiles::ReleaseGroup(uint64_t segment) {
  const auto found = std::find_if(segments_.begin(), segments_.end(),
                                  [&](const PayloadSegment& s) { return s.number == segment; });
  if (found == segments_.end()) return;
  --found->groups;
  if (found->groups != 0 || found->number == segments_.back().number) return;
  Delete(segment);
  segments_.erase(found);
}

void PayloadFiles::Clear() {
  (void)output_.Close();
  for (const PayloadSegment& segment : segments_) Delete(segment.number);
  segments_.clear();
  RemoveStale();
}

void PayloadFiles::CloseSnapshot() {
  if (--open_snapshots_ != 0) return;
  for (const std::string& path : delete_later_) RemoveClaimed(path);
  delete_later_.clear();
}

void PayloadFiles::Delete(uint64_t segment) {
  std::string path = PayloadPath(folder_, prefix_, segment);
  if (open_snapshots_ == 0) {
    RemoveClaimed(path);
  } else {
    delete_later_.push_back(std::move(path));
  }
}

void PayloadFiles::RemoveStale() {
  std::vector<std::string> names;
  if (folder_.empty() || !ListFiles(folder_, names).ok()) return;
  for (const std::string& name : names) {
    if (!name.starts_with(prefix_) || !name.ends_with(kExtension)) continue;
    const std::string path = JoinPath(folder_, name);
    if (!LiveFiles::Instance().Contains(path)) (void)RemoveFile(path);
  }
}

}  // namespace orventa
