#include "base/files.h"

#include "base/file_rules.h"

namespace orventa {
namespace {

// Nothing that is replaced whole, a settings file or a log, comes near this.
constexpr uint64_t kMaxBackupBytes = 64 * 1024 * 1024;

FileResult WriteAndCommit(const std::string& path, std::string_view text) {
  OutputFile file;
  FileResult result = file.Create(path);
  if (!result.ok()) return result;
  result = file.Write({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  if (result.ok()) result = file.CommitToMedium();
  const FileResult closed = file.Close();
  if (result.ok()) result = closed;
  if (!result.ok()) (void)RemoveFile(path);
  return result;
}

// A copy of the file as it is now, to become the backup once the new file stands.
// A text with a zero byte was damaged by a power cut: the backup from before it is
// worth more.
bool CopyForBackup(std::string_view path, const std::string& copy_path) {
  std::string text;
  if (!ReadWholeFile(path, kMaxBackupBytes, text).ok()) return false;
  if (text.find('\0') != std::string::npos) return false;
  if (!WriteAndCommit(copy_path, text).ok()) return false;
  file_rules::CopyAccess(path, copy_path);
  return true;
}

}  // namespace

FileResult ReadWholeFile(std::string_view path, uint64_t max_bytes, std::string& out) {
  out.clear();
  InputFile file;
  FileResult result = file.Open(path);
  if (!result.ok()) return result;
  uint64_t size = 0;
  result = file.Size(size);
  if (!result.ok()) return result;

  // The file may grow or shrink meanwhile, and files of /proc tell no size: the
  // size is a hint, and only the end of the file ends the reading.
  std::string text;
  size_t held = 0;
  for (;;) {
    const uint64_t wanted = size > held ? size - held + 1 : uint64_t{4096};
    if (size > max_bytes || held > max_bytes) return {FileError::Other, 0};
    text.resize(held + static_cast<size_t>(wanted));
    size_t read = 0;
    result = file.ReadAt(held, {reinterpret_cast<uint8_t*>(text.data()) + held, text.size() - held},
                         read);
    if (!result.ok()) return result;
    held += read;
    if (held < text.size()) break;
  }
  if (held > max_bytes) return {FileError::Other, 0};
  text.resize(held);
  out = std::move(text);
  return {};
}

FileResult WriteFileAtomically(std::string_view path, std::string_view text, KeepBackup backup,
                               AtomicWriteStep* failed_at) {
  const std::string temporary = std::string(path) + ".tmp";
  const std::string previous = std::string(path) + ".new";

  if (failed_at != nullptr) *failed_at = AtomicWriteStep::Write;
  FileResult result = WriteAndCommit(temporary, text);
  if (!result.ok()) return result;
  if (failed_at != nullptr) *failed_at = AtomicWriteStep::Replace;
  file_rules::CopyAccess(path, temporary);

  const bool has_previous = backup == KeepBackup::Yes && CopyForBackup(path, previous);
  result = MoveReplacing(temporary, path);
  if (!result.ok()) {
    (void)RemoveFile(temporary);
    if (has_previous) (void)RemoveFile(previous);
    return result;
  }
  if (has_previous && !MoveReplacing(previous, std::string(path) + ".bak").ok()) {
    (void)RemoveFile(previous);
  }
  file_rules::CommitFolderOf(path);
  return {};
}

std::string JoinPath(std::string_view folder, std::string_view name) {
  const std::string_view separators = file_rules::PathSeparators();
  std::string path(folder);
  if (!path.empty() && separators.find(path.back()) == std::string_view::npos) {
    path += separators.front();
  }
  path += name;
  return path;
}

std::string_view ParentFolder(std::string_view path) {
  const std::string_view separators = file_rules::PathSeparators();
  const size_t root = file_rules::RootLength(path);
  const size_t name_end = path.find_last_not_of(separators);
  if (name_end == std::string_view::npos || name_end < root) return {};
  const size_t separator = path.find_last_of(separators, name_end);
  if (separator == std::string_view::npos || separator < root) return path.substr(0, root);
  const size_t parent_end = path.find_last_not_of(separators, separator);
  if (parent_end == std::string_view::npos || parent_end < root) return path.substr(0, root);
  return path.substr(0, parent_end + 1);
}

std::string_view FileName(std::string_view path) {
  const size_t root = file_rules::RootLength(path);
  const size_t separator = path.find_last_of(file_rules::PathSeparators());
  if (separator == std::string_view::npos) return path.substr(root);
  return path.substr(separator + 1 > root ? separator + 1 : root);
}

}  // namespace orventa
