// What the service tells the user. A notice gets a number and is kept for the
// window process to fetch; cards and sounds on the desktop join here.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "base/message_loop.h"
#include "base/mutex.h"

namespace orventa {

struct ServiceState;

enum class NoticeKind : uint32_t {
  ReplaySaved,
  ReplayFailed,
  Recording,
  Screenshot,
  BufferPaused,
  AudioChanged,
  Problem,
  Marker,
  RunningInBackground,
  UpdateAvailable,
  Updated,
  ExportDone,
};
std::string_view NoticeKindWord(NoticeKind kind);

struct NoticeRecord {
  uint64_t seq = 0;  // rises by one with every notice, from 1
  NoticeKind kind = NoticeKind::Problem;
  bool warning = false;
  std::string title;
  std::string detail;  // may be empty; may hold line ends
  std::string path;    // the file it is about; empty: none
};

// Carries a notice to the main thread.
struct NoticeMessage : MessageRecord {
  NoticeRecord notice;
};

// The newest notices. Any thread.
class NoticeList {
 public:
  static constexpr size_t kMaxNotices = 100;

  // Gives the notice its number.
  void Add(NoticeRecord notice);
  uint64_t NewestSeq() const;
  NoticeRecord Newest() const;  // seq 0: there is none

 private:
  mutable Mutex mutex_;
  std::deque<NoticeRecord> notices_ ORVENTA_GUARDED_BY(mutex_);
  uint64_t newest_seq_ ORVENTA_GUARDED_BY(mutex_) = 0;
};

// Main thread. Problem and ReplayFailed are warnings; RunningInBackground is shown
// once in the life of a settings file.
void ShowNotification(ServiceState& state, NoticeKind kind, std::string title,
                      std::string detail = {}, std::string path = {});

}  // namespace orventa
