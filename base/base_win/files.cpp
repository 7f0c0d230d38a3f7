#include "base/files.h"

#include <algorithm>

#include "base/base_win/win32.h"
#include "base/file_rules.h"
#include "base/text.h"

namespace orventa {
namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
// One call of the system moves less than 4 GiB.
constexpr size_t kMaxPieceBytes = size_t{64} * 1024 * 1024;
constexpr DWORD kNoAttributes = INVALID_FILE_ATTRIBUTES;

// The system's number; not every set of headers has its name.
constexpr DWORD kDiskQuotaExceeded = 1295;

FileError ErrorOf(DWORD code) {
  switch (code) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    // A share that is gone, and paths that no file can have.
    case ERROR_BAD_NETPATH:
    case ERROR_NETNAME_DELETED:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_DIRECTORY: return FileError::NotFound;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_USER_MAPPED_FILE:
    case ERROR_BUSY: return FileError::InUse;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
    case kDiskQuotaExceeded: return FileError::DriveFull;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS: return FileError::Exists;
    default: return FileError::Other;
  }
}

FileResult Failure(DWORD code) {
  return {ErrorOf(code), static_cast<int>(code)};
}
FileResult LastFailure() {
  return Failure(GetLastError());
}

DWORD Attributes(std::string_view path) {
  return GetFileAttributesW(SystemPath(path).c_str());
}

OVERLAPPED AtOffset(uint64_t offset) {
  OVERLAPPED where{};
  where.Offset = static_cast<DWORD>(offset);
  where.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return where;
}

DWORD PieceOf(size_t bytes) {
  return static_cast<DWORD>(std::min(bytes, kMaxPieceBytes));
}

FileResult WriteAllAt(HANDLE file, uint64_t offset, std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    OVERLAPPED where = AtOffset(offset);
    DWORD written = 0;
    if (!WriteFile(file, bytes.data(), PieceOf(bytes.size()), &written, &where)) {
      return LastFailure();
    }
    if (written == 0) return Failure(ERROR_WRITE_FAULT);
    bytes = bytes.subspan(written);
    offset += written;
  }
  return {};
}

FileResult OpenForWriting(std::string_view path, DWORD how, WinHandle& file) {
  file = WinHandle(CreateFileW(SystemPath(path).c_str(), GENERIC_WRITE, kShareAll, nullptr, how,
                               FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file.valid()) return LastFailure();
  return GetFileType(file.get()) == FILE_TYPE_DISK ? FileResult{} : Failure(ERROR_INVALID_NAME);
}

FileResult SizeOf(HANDLE file, uint64_t& bytes) {
  LARGE_INTEGER size{};
  if (!GetFileSizeEx(file, &size)) return LastFailure();
  bytes = static_cast<uint64_t>(size.QuadPart);
  return {};
}

}  // namespace

std::string FileResult::Text() const {
  if (ok()) return "no error";
  if (system_code == 0) return "unknown error";
  return SystemErrorText(static_cast<uint32_t>(system_code));
}

struct OutputFile::State {
  WinHandle file;
  uint64_t end = 0;  // where the next Write goes: WriteAt moves the system's own
};

OutputFile::OutputFile() = default;
OutputFile::~OutputFile() = default;
OutputFile::OutputFile(OutputFile&&) noexcept = default;
OutputFile& OutputFile::operator=(OutputFile&&) noexcept = default;

FileResult OutputFile::Create(std::string_view path) {
  state_.reset();
  // Opened and cut, since creating anew is refused over a hidden file.
  WinHandle file;
  const FileResult opened = OpenForWriting(path, OPEN_ALWAYS, file);
  if (!opened.ok()) return opened;
  if (!SetEndOfFile(file.get())) return LastFailure();
  state_ = std::make_unique<State>(State{std::move(file)});
  return {};
}

FileResult OutputFile::Continue(std::string_view path) {
  state_.reset();
  WinHandle file;
  const FileResult opened = OpenForWriting(path, OPEN_EXISTING, file);
  if (!opened.ok()) return opened;
  uint64_t bytes = 0;
  const FileResult asked = SizeOf(file.get(), bytes);
  if (asked.ok()) state_ = std::make_unique<State>(State{std::move(file), bytes});
  return asked;
}

bool OutputFile::IsOpen() const {
  return state_ != nullptr;
}

FileResult OutputFile::Write(std::span<const uint8_t> bytes) {
  if (!IsOpen()) return Failure(ERROR_INVALID_HANDLE);
  const FileResult result = WriteAllAt(state_->file.get(), state_->end, bytes);
  if (result.ok()) state_->end += bytes.size();
  return result;
}

FileResult OutputFile::WriteAt(uint64_t offset, std::span<const uint8_t> bytes) {
  if (!IsOpen()) return Failure(ERROR_INVALID_HANDLE);
  return WriteAllAt(state_->file.get(), offset, bytes);
}

FileResult OutputFile::CommitToMedium() {
  if (!IsOpen()) return Failure(ERROR_INVALID_HANDLE);
  return FlushFileBuffers(state_->file.get()) ? FileResult{} : LastFailure();
}

FileResult OutputFile::Close() {
  if (!IsOpen()) return {};
  const HANDLE file = state_->file.Release();
  state_.reset();
  return CloseHandle(file) ? FileResult{} : LastFailure();
}

struct InputFile::State {
  WinHandle file;
};

InputFile::InputFile() = default;
InputFile::~InputFile() = default;
InputFile::InputFile(InputFile&&) noexcept = default;
InputFile& InputFile::operator=(InputFile&&) noexcept = default;

FileResult InputFile::Open(std::string_view path) {
  state_.reset();
  WinHandle file(CreateFileW(SystemPath(path).c_str(), GENERIC_READ, kShareAll, nullptr,
                             OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file.valid()) return LastFailure();
  // A pipe or a console under a file's name would be waited for.
  if (GetFileType(file.get()) != FILE_TYPE_DISK) return Failure(ERROR_INVALID_NAME);
  state_ = std::make_unique<State>(State{std::move(file)});
  return {};
}

bool InputFile::IsOpen() const {
  return state_ != nullptr;
}

FileResult InputFile::Size(uint64_t& bytes) const {
  bytes = 0;
  return IsOpen() ? SizeOf(state_->file.get(), bytes) : Failure(ERROR_INVALID_HANDLE);
}

FileResult InputFile::ReadAt(uint64_t offset, std::span<uint8_t> into, size_t& read) const {
  read = 0;
  if (!IsOpen()) return Failure(ERROR_INVALID_HANDLE);
  while (read < into.size()) {
    OVERLAPPED where = AtOffset(offset + read);
    DWORD got = 0;
    if (!ReadFile(state_->file.get(), into.data() + read, PieceOf(into.size() - read), &got,
                  &where)) {
      const DWORD code = GetLastError();
      return code == ERROR_HANDLE_EOF ? FileResult{} : Failure(code);
    }
    if (got == 0) break;
    read += got;
  }
  return {};
}

void InputFile::Close() {
  state_.reset();
}

FileResult CutFile(std::string_view path, uint64_t bytes) {
  WinHandle file;
  const FileResult opened = OpenForWriting(path, OPEN_EXISTING, file);
  if (!opened.ok()) return opened;
  uint64_t before = 0;
  const FileResult asked = SizeOf(file.get(), before);
  if (!asked.ok()) return asked;
  if (bytes > before) return Failure(ERROR_INVALID_PARAMETER);
  LARGE_INTEGER end{};
  end.QuadPart = static_cast<LONGLONG>(bytes);
  const bool cut =
      SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) && SetEndOfFile(file.get());
  return cut ? FileResult{} : LastFailure();
}

FileResult MoveReplacing(std::string_view from, std::string_view to) {
  const std::wstring wide_from = SystemPath(from);
  const std::wstring wide_to = SystemPath(to);
  // A virus scanner or an indexer that has either file open lets go soon. Over an
  // open target the system speaks of denied access.
  constexpr int kTries = 50;
  constexpr uint32_t kPauseMs = 10;
  FileResult result;
  for (int i = 0; i < kTries; ++i) {
    if (i > 0) PauseMs(kPauseMs);
    if (MoveFileExW(wide_from.c_str(), wide_to.c_str(),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
      return {};
    }
    result = LastFailure();
    const bool target_may_be_open =
        result.system_code == ERROR_ACCESS_DENIED && FileExists(to) &&
        (GetFileAttributesW(wide_to.c_str()) & FILE_ATTRIBUTE_READONLY) == 0;
    if (target_may_be_open) result.error = FileError::InUse;
    if (result.error != FileError::InUse) break;
  }
  return result;
}

FileResult RemoveFile(std::string_view path) {
  return DeleteFileW(SystemPath(path).c_str()) ? FileResult{} : LastFailure();
}

bool FileExists(std::string_view path) {
  const DWORD attributes = Attributes(path);
  return attributes != kNoAttributes && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool FolderExists(std::string_view path) {
  const DWORD attributes = Attributes(path);
  return attributes != kNoAttributes && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

FileResult CreateFolders(std::string_view path) {
  if (FolderExists(path)) return {};
  const std::string_view parent = ParentFolder(path);
  if (!parent.empty() && parent.size() < path.size()) {
    const FileResult made = CreateFolders(parent);
    if (!made.ok()) return made;
  }
  if (CreateDirectoryW(SystemPath(path).c_str(), nullptr)) return {};
  const DWORD code = GetLastError();
  return code == ERROR_ALREADY_EXISTS && FolderExists(path) ? FileResult{} : Failure(code);
}

FileResult ListFiles(std::string_view folder, std::vector<std::string>& names) {
  names.clear();
  WIN32_FIND_DATAW found{};
  const HANDLE search =
      FindFirstFileExW(SystemPath(JoinPath(folder, "*")).c_str(), FindExInfoBasic, &found,
                       FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
  if (search == INVALID_HANDLE_VALUE) {
    // The root of an empty drive has not even "." in it.
    const DWORD code = GetLastError();
    return code == ERROR_FILE_NOT_FOUND && FolderExists(folder) ? FileResult{} : Failure(code);
  }
  do {
    if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      names.push_back(Narrow(found.cFileName));
    }
  } while (FindNextFileW(search, &found));
  const DWORD code = GetLastError();
  FindClose(search);
  return code == ERROR_NO_MORE_FILES ? FileResult{} : Failure(code);
}

std::optional<uint64_t> FreeSpace(std::string_view path) {
  const std::string_view folder = FolderExists(path) ? path : ParentFolder(path);
  ULARGE_INTEGER available{};
  const std::wstring where = SystemPath(folder);
  if (!GetDiskFreeSpaceExW(where.empty() ? nullptr : where.c_str(), &available, nullptr, nullptr)) {
    return std::nullopt;
  }
  return available.QuadPart;
}

std::optional<uint64_t> LastWriteStamp(std::string_view path) {
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!GetFileAttributesExW(SystemPath(path).c_str(), GetFileExInfoStandard, &data)) {
    return std::nullopt;
  }
  return Joined(data.ftLastWriteTime);
}

FileResult CheckNotInUse(std::string_view path) {
  const WinHandle file(CreateFileW(SystemPath(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                   OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  return file.valid() ? FileResult{} : LastFailure();
}

void HideFile(std::string_view path) {
  const DWORD attributes = Attributes(path);
  if (attributes == kNoAttributes) return;
  // Seen or not, the file does its work.
  (void)SetFileAttributesW(SystemPath(path).c_str(), attributes | FILE_ATTRIBUTE_HIDDEN);
}

namespace file_rules {

std::string_view PathSeparators() {
  return "\\/";
}

// "C:\", "C:", "\\server\share\", "\", and the first two behind "\\?\".
size_t RootLength(std::string_view path) {
  const auto is_separator = [&](size_t i) {
    return i < path.size() && (path[i] == '\\' || path[i] == '/');
  };
  if (path.starts_with("\\\\?\\") || path.starts_with("\\\\.\\")) {
    return 4 + RootLength(path.substr(4));
  }
  if (is_separator(0) && is_separator(1)) {
    const size_t share = path.find_first_of(PathSeparators(), 2);
    if (share == std::string_view::npos) return path.size();
    const size_t end = path.find_first_of(PathSeparators(), share + 1);
    return end == std::string_view::npos ? path.size() : end + 1;
  }
  if (path.size() >= 2 && path[1] == ':') return is_separator(2) ? 3 : 2;
  return is_separator(0) ? 1 : 0;
}

void CopyAccess(std::string_view, std::string_view) {
  // A new file inherits the rights of its folder.
}

void CommitFolderOf(std::string_view) {
  // The move itself writes through.
}

}  // namespace file_rules
}  // namespace orventa
