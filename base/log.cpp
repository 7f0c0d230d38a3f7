#include "base/log.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <deque>
#include <utility>

#include "base/files.h"
#include "base/mutex.h"
#include "base/text.h"

namespace orventa {
namespace {

constexpr size_t kMaxLines = 2000;
// With its prefix and its closing zero.
constexpr size_t kLineBytes = 1024;
// 2000 lines of the longest kind; a larger file is not one that we wrote.
constexpr uint64_t kMaxFileBytes = 4 * 1024 * 1024;
constexpr std::string_view kDateLineMark = "--- ";

class Log {
 public:
  void Open(IClock& clock, std::string_view path) {
    const MutexLock lock(mutex_);
    clock_ = &clock;
    path_ = path;
    lines_.clear();
    last_date_.clear();
    loaded_ = false;
  }

  void Close() {
    const MutexLock lock(mutex_);
    clock_ = nullptr;
    path_.clear();
    lines_.clear();
    last_date_.clear();
    early_.clear();
    loaded_ = false;
  }

  // The file is written under the lock: the lines in it are in the order said, and
  // they are rare.
  ORVENTA_PRINTF(3, 0) void Say(const char* level, const char* format, va_list arguments) {
    std::array<char, kLineBytes> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    const MutexLock lock(mutex_);
    early_.emplace_back(level, text.data());
    if (early_.size() > kMaxLines) early_.pop_front();
    if (clock_ == nullptr) return;

    if (!loaded_) LoadOldFile();
    for (const auto& [early_level, early_text] : early_) AddLine(early_level, early_text);
    early_.clear();
    WriteFile();
  }

 private:
  void LoadOldFile() ORVENTA_REQUIRES(mutex_) {
    loaded_ = true;
    std::string text;
    if (!ReadWholeFile(path_, kMaxFileBytes, text).ok()) return;
    for (const std::string_view line : Split(text, '\n')) {
      const std::string_view bare = line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
      if (bare.empty()) continue;
      if (bare.starts_with(kDateLineMark)) last_date_ = bare;
      Push(std::string(bare));
    }
  }

  // The time is the moment at which the line enters the log.
  void AddLine(const char* level, std::string_view text) ORVENTA_REQUIRES(mutex_) {
    const LocalTime now = clock_->ToLocal(clock_->WallMs());
    const std::string date = Format("--- %02d-%02d-%04d ---", now.day, now.month, now.year);
    if (date != last_date_) Push(date);
    last_date_ = date;
    std::string line = Format("%02d:%02d:%02d.%03d  %s  ", now.hour, now.minute, now.second,
                              now.millisecond, level);
    line += text;
    line.resize(CutUtf8(line, kLineBytes - 1).size());
    // A name from outside may bring its own line ends.
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    Push(std::move(line));
  }

  void Push(std::string line) ORVENTA_REQUIRES(mutex_) {
    lines_.push_back(std::move(line));
    if (lines_.size() > kMaxLines) lines_.pop_front();
  }

  // Without a commit to the medium, which would cost every line a disk's wait: a
  // power cut may lose the newest lines. There is nobody to tell of a failure.
  void WriteFile() ORVENTA_REQUIRES(mutex_) {
    std::string text;
    for (const std::string& line : lines_) {
      text += line;
      text += '\n';
    }
    const std::string temporary = path_ + ".tmp";
    OutputFile file;
    if (!file.Create(temporary).ok()) return;
    const bool written =
        file.Write({reinterpret_cast<const uint8_t*>(text.data()), text.size()}).ok() &&
        file.Close().ok();
    if (written && MoveReplacing(temporary, path_).ok()) return;
    (void)file.Close();
    (void)RemoveFile(temporary);
  }

  Mutex mutex_;
  IClock* clock_ ORVENTA_GUARDED_BY(mutex_) = nullptr;
  std::string path_ ORVENTA_GUARDED_BY(mutex_);
  std::deque<std::string> lines_ ORVENTA_GUARDED_BY(mutex_);
  std::string last_date_ ORVENTA_GUARDED_BY(mutex_);
  // Level and text of what has no time yet.
  std::deque<std::pair<const char*, std::string>> early_ ORVENTA_GUARDED_BY(mutex_);
  bool loaded_ ORVENTA_GUARDED_BY(mutex_) = false;
};

// Never destroyed: threads may log to the very end of the process.
Log& TheLog() {
  static Log& log = *new Log;
  return log;
}

}  // namespace

void OpenLog(IClock& clock, std::string_view path) {
  TheLog().Open(clock, path);
}

void CloseLog() {
  TheLog().Close();
}

#define ORVENTA_SAY(level)                \
  va_list arguments;                      \
  va_start(arguments, format);            \
  TheLog().Say(level, format, arguments); \
  va_end(arguments)

void LogInfo(const char* format, ...) {
  ORVENTA_SAY("INFO ");
}
void LogWarning(const char* format, ...) {
  ORVENTA_SAY("WARN ");
}
void LogError(const char* format, ...) {
  ORVENTA_SAY("ERROR");
}

#undef ORVENTA_SAY

}  // namespace orventa
