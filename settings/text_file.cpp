#include "settings/text_file.h"

#include <filesystem>
#include <system_error>

#include "base/mutex.h"
#include "base/text.h"

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

// People keep their settings in folders that go from machine to machine, and a link
// where they belong. It is the file that is replaced, and its backup that lies beside it.
std::string BehindLink(const std::string& path) {
  namespace fs = std::filesystem;
  const fs::path link(std::u8string(path.begin(), path.end()));
  std::error_code error;
  if (!fs::is_symlink(link, error)) return path;
  const std::u8string file = fs::canonical(link, error).u8string();
  return error ? path : std::string(file.begin(), file.end());
}

// A power cut leaves zero bytes where a file system had promised room for a text.
bool IsSound(Attempt attempt, const std::string& text) {
  return attempt == Attempt::Read && text.find('\0') == std::string::npos;
}

}  // namespace

void DecodeSettingsText(std::string& text) {
  constexpr std::string_view kMark = "\xFF\xFE";
  if (!text.starts_with(kMark) || text.size() % 2 != 0) return;
  std::u16string wide;
  for (size_t i = kMark.size(); i < text.size(); i += 2) {
    wide += static_cast<char16_t>(static_cast<uint8_t>(text[i]) | static_cast<uint8_t>(text[i + 1])
                                                                      << 8);
  }
  text = Utf16ToUtf8(wide);
}

Status ReadSettingsText(IClock& clock, const std::string& path, SettingsTextFile& out,
                        uint64_t max_bytes) {
  out = {};
  std::string text;
  const std::string file = BehindLink(path);
  const Attempt attempt = ReadPatiently(clock, file, max_bytes, text);
  if (attempt == Attempt::Failed) return {StatusCode::InvalidArgument, "cannot read " + path};
  if (attempt == Attempt::Absent) return Status::Ok();

  DecodeSettingsText(text);
  if (!IsSound(attempt, text)) {
    out.from_backup = IsSound(ReadPatiently(clock, file + ".bak", max_bytes, text), text);
    out.unusable = !out.from_backup;
  }
  out.existed = !out.unusable;
  if (out.existed) out.text = std::move(text);
  return Status::Ok();
}

Status WriteSettingsText(const std::string& path, std::string_view text, KeepBackup backup) {
  const MutexLock lock(FileLock());
  const std::string file = BehindLink(path);
  FileResult result = CreateFolders(ParentFolder(file));
  if (result.ok()) result = WriteFileAtomically(file, text, backup);
  if (result.ok()) return Status::Ok();
  if (result.error == FileError::DriveFull) return {StatusCode::DriveFull, "error writing " + path};
  return {StatusCode::InvalidArgument, "cannot write " + path};
}

}  // namespace orventa
