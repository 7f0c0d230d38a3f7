#include "settings/text_file.h"

#include "base/mutex.h"

namespace orventa {
namespace {

constexpr uint32_t kRetries = 50;
constexpr uint64_t kRetryNs = 10 * kNsPerMs;

// Around one attempt at reading and around a whole write, which is what this lock
// is for: within the process nobody meets the moment of replacement. It is a leaf.
Mutex& FileLock() {
  static Mutex lock;
  return lock;
}

enum class Attempt { Read, Absent, TooLong, Failed };

Attempt ReadOnce(const std::string& path, uint64_t max_bytes, std::string& text) {
  const MutexLock lock(FileLock());
  const FileResult result = ReadWholeFile(path, max_bytes, text);
  if (result.ok()) return Attempt::Read;
  if (result.error == FileError::NotFound) return Attempt::Absent;
  return result.system_code == 0 ? Attempt::TooLong : Attempt::Failed;
}

// Another program may hold the file for the moment in which it writes it.
Attempt ReadPatiently(IClock& clock, const std::string& path, uint64_t max_bytes,
                      std::string& text) {
  Attempt attempt = ReadOnce(path, max_bytes, text);
  for (uint32_t i = 0; i < kRetries && attempt == Attempt::Failed; ++i) {
    clock.SleepUntil(clock.SteadyNs() + kRetryNs);
    attempt = ReadOnce(path, max_bytes, text);
  }
  return attempt;
}

// A power cut leaves zero bytes where a file system had promised room for a text.
bool IsSound(Attempt attempt, const std::string& text) {
  return attempt == Attempt::Read && text.find('\0') == std::string::npos;
}

}  // namespace

Status ReadSettingsText(IClock& clock, const std::string& path, SettingsTextFile& out,
                        uint64_t max_bytes) {
  out = {};
  std::string text;
  const Attempt attempt = ReadPatiently(clock, path, max_bytes, text);
  if (attempt == Attempt::Failed) return {StatusCode::InvalidArgument, "cannot read " + path};
  if (attempt == Attempt::Absent) return Status::Ok();

  if (!IsSound(attempt, text)) {
    out.from_backup = IsSound(ReadPatiently(clock, path + ".bak", max_bytes, text), text);
    out.unusable = !out.from_backup;
  }
  out.existed = !out.unusable;
  if (out.existed) out.text = std::move(text);
  return Status::Ok();
}

Status WriteSettingsText(const std::string& path, std::string_view text, KeepBackup backup) {
  const MutexLock lock(FileLock());
  FileResult result = CreateFolders(ParentFolder(path));
  if (result.ok()) result = WriteFileAtomically(path, text, backup);
  if (result.ok()) return Status::Ok();
  if (result.error == FileError::DriveFull) return {StatusCode::DriveFull, "error writing " + path};
  return {StatusCode::InvalidArgument, "cannot write " + path};
}

}  // namespace orventa
