#include "base/files.h"

#include <dirent.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cstdio>
#include <limits>
#include <system_error>

#include "base/base_linux/posix.h"
#include "base/file_rules.h"

namespace orventa {
namespace {

// New files and folders; the user's umask takes away from it.
constexpr mode_t kFileMode = 0666;
constexpr mode_t kFolderMode = 0777;

FileError ErrorOf(int code) {
  switch (code) {
    case ENOENT:
    case ENOTDIR: return FileError::NotFound;
    case EBUSY:
    case ETXTBSY:
    case EWOULDBLOCK: return FileError::InUse;
    case ENOSPC:
    case EDQUOT: return FileError::DriveFull;
    case EEXIST: return FileError::Exists;
    default: return FileError::Other;
  }
}

FileResult Failure(int code) {
  return {ErrorOf(code), code};
}

bool FitsOffset(uint64_t offset) {
  return offset <= static_cast<uint64_t>(std::numeric_limits<off_t>::max());
}

// Writes all of it; `put` gets the bytes that are left and how many went before.
template <typename Put>
FileResult WriteAll(std::span<const uint8_t> bytes, Put put) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t written = Uninterrupted([&] { return put(bytes.subspan(done), done); });
    if (written < 0) return Failure(errno);
    done += static_cast<size_t>(written);
  }
  return {};
}

bool IsKind(std::string_view path, mode_t kind) {
  struct stat info {};
  return stat(std::string(path).c_str(), &info) == 0 && (info.st_mode & S_IFMT) == kind;
}

// A lock that the file system does not know is no reason to refuse the file.
FileResult LockForWriting(int fd, int operation) {
  if (Uninterrupted([&] { return flock(fd, operation | LOCK_NB); }) == 0) return {};
  return errno == EWOULDBLOCK ? Failure(errno) : FileResult{};
}

// Opens a regular file that no other writer has. Nothing of it is changed before
// its lock is held.
FileResult OpenForWriting(std::string_view path, int more_flags, FileDescriptor& fd,
                          uint64_t& bytes) {
  fd = FileDescriptor(Uninterrupted([&] {
    return open(std::string(path).c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | more_flags,
                kFileMode);
  }));
  if (!fd.valid()) return Failure(errno);
  const FileResult locked = LockForWriting(fd.get(), LOCK_EX);
  if (!locked.ok()) return locked;
  struct stat info {};
  if (fstat(fd.get(), &info) != 0) return Failure(errno);
  if (!S_ISREG(info.st_mode)) return Failure(EINVAL);
  bytes = static_cast<uint64_t>(info.st_size);
  return {};
}

FileResult Truncate(const FileDescriptor& fd, uint64_t bytes) {
  if (!FitsOffset(bytes)) return Failure(EINVAL);
  const int done = Uninterrupted([&] { return ftruncate(fd.get(), static_cast<off_t>(bytes)); });
  return done == 0 ? FileResult{} : Failure(errno);
}

}  // namespace

std::string FileResult::Text() const {
  if (ok()) return "no error";
  if (system_code == 0) return "unknown error";
  return std::system_category().message(system_code);
}

struct OutputFile::State {
  FileDescriptor fd;
};

OutputFile::OutputFile() = default;
OutputFile::~OutputFile() = default;
OutputFile::OutputFile(OutputFile&&) noexcept = default;
OutputFile& OutputFile::operator=(OutputFile&&) noexcept = default;

FileResult OutputFile::Create(std::string_view path) {
  state_.reset();
  FileDescriptor fd;
  uint64_t bytes = 0;
  FileResult result = OpenForWriting(path, O_CREAT, fd, bytes);
  // Only what is there: after any cut, even of nothing, ext4 starts to write the
  // whole file out inside close.
  if (result.ok() && bytes != 0) result = Truncate(fd, 0);
  if (result.ok()) state_ = std::make_unique<State>(State{std::move(fd)});
  return result;
}

FileResult OutputFile::Continue(std::string_view path) {
  state_.reset();
  FileDescriptor fd;
  uint64_t bytes = 0;
  const FileResult result = OpenForWriting(path, 0, fd, bytes);
  if (!result.ok()) return result;
  if (lseek(fd.get(), 0, SEEK_END) < 0) return Failure(errno);
  state_ = std::make_unique<State>(State{std::move(fd)});
  return {};
}

bool OutputFile::IsOpen() const {
  return state_ != nullptr;
}

FileResult OutputFile::Write(std::span<const uint8_t> bytes) {
  if (!IsOpen()) return Failure(EBADF);
  return WriteAll(bytes, [&](std::span<const uint8_t> rest, size_t) {
    return write(state_->fd.get(), rest.data(), rest.size());
  });
}

FileResult OutputFile::WriteAt(uint64_t offset, std::span<const uint8_t> bytes) {
  if (!IsOpen()) return Failure(EBADF);
  if (!FitsOffset(offset) || !FitsOffset(offset + bytes.size())) return Failure(EINVAL);
  return WriteAll(bytes, [&](std::span<const uint8_t> rest, size_t done) {
    return pwrite(state_->fd.get(), rest.data(), rest.size(), static_cast<off_t>(offset + done));
  });
}

FileResult OutputFile::CommitToMedium() {
  if (!IsOpen()) return Failure(EBADF);
  if (Uninterrupted([&] { return fdatasync(state_->fd.get()); }) != 0) return Failure(errno);
  return {};
}

FileResult OutputFile::Close() {
  if (!IsOpen()) return {};
  const int fd = state_->fd.Release();
  state_.reset();
  // Linux has let go of the descriptor even when the call says EINTR; a full
  // network drive may speak up only here.
  if (close(fd) != 0 && errno != EINTR) return Failure(errno);
  return {};
}

struct InputFile::State {
  FileDescriptor fd;
};

InputFile::InputFile() = default;
InputFile::~InputFile() = default;
InputFile::InputFile(InputFile&&) noexcept = default;
InputFile& InputFile::operator=(InputFile&&) noexcept = default;

FileResult InputFile::Open(std::string_view path) {
  state_.reset();
  const std::string name(path);
  // Not blocking: opening a pipe that nobody writes would wait for ever.
  FileDescriptor fd(Uninterrupted(
      [&] { return open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
  if (!fd.valid()) return Failure(errno);
  struct stat info {};
  if (fstat(fd.get(), &info) != 0) return Failure(errno);
  if (S_ISDIR(info.st_mode)) return Failure(EISDIR);
  if (!S_ISREG(info.st_mode)) return Failure(EINVAL);
  state_ = std::make_unique<State>(State{std::move(fd)});
  return {};
}

bool InputFile::IsOpen() const {
  return state_ != nullptr;
}

FileResult InputFile::Size(uint64_t& bytes) const {
  bytes = 0;
  if (!IsOpen()) return Failure(EBADF);
  struct stat info {};
  if (fstat(state_->fd.get(), &info) != 0) return Failure(errno);
  bytes = static_cast<uint64_t>(info.st_size);
  return {};
}

FileResult InputFile::ReadAt(uint64_t offset, std::span<uint8_t> into, size_t& read) const {
  read = 0;
  if (!IsOpen()) return Failure(EBADF);
  while (read < into.size() && FitsOffset(offset + read)) {
    const ssize_t got = Uninterrupted([&] {
      return pread(state_->fd.get(), into.data() + read, into.size() - read,
                   static_cast<off_t>(offset + read));
    });
    if (got < 0) return Failure(errno);
    if (got == 0) break;
    read += static_cast<size_t>(got);
  }
  return {};
}

void InputFile::Close() {
  state_.reset();
}

FileResult CutFile(std::string_view path, uint64_t bytes) {
  FileDescriptor fd;
  uint64_t before = 0;
  const FileResult result = OpenForWriting(path, 0, fd, before);
  if (!result.ok()) return result;
  return bytes <= before ? Truncate(fd, bytes) : Failure(EINVAL);
}

FileResult MoveReplacing(std::string_view from, std::string_view to) {
  if (rename(std::string(from).c_str(), std::string(to).c_str()) != 0) return Failure(errno);
  return {};
}

FileResult RemoveFile(std::string_view path) {
  if (unlink(std::string(path).c_str()) != 0) return Failure(errno);
  return {};
}

bool FileExists(std::string_view path) {
  return IsKind(path, S_IFREG);
}

bool FolderExists(std::string_view path) {
  return IsKind(path, S_IFDIR);
}

FileResult CreateFolders(std::string_view path) {
  if (FolderExists(path)) return {};
  const std::string_view parent = ParentFolder(path);
  if (!parent.empty() && parent.size() < path.size()) {
    const FileResult made = CreateFolders(parent);
    if (!made.ok()) return made;
  }
  if (mkdir(std::string(path).c_str(), kFolderMode) == 0) return {};
  const int code = errno;
  return code == EEXIST && FolderExists(path) ? FileResult{} : Failure(code);
}

FileResult ListFiles(std::string_view folder, std::vector<std::string>& names) {
  names.clear();
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(std::string(folder).c_str()), closedir);
  if (entries == nullptr) return Failure(errno);
  for (;;) {
    errno = 0;
    const dirent* const entry = readdir(entries.get());
    if (entry == nullptr) break;
    const bool maybe_file = entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK;
    if (entry->d_type == DT_REG || (maybe_file && FileExists(JoinPath(folder, entry->d_name)))) {
      names.emplace_back(entry->d_name);
    }
  }
  return errno == 0 ? FileResult{} : Failure(errno);
}

std::optional<uint64_t> FreeSpace(std::string_view path) {
  struct statvfs drive {};
  std::string where(path.empty() ? "." : path);
  if (statvfs(where.c_str(), &drive) != 0) {
    const std::string_view parent = ParentFolder(path);
    where = parent.empty() ? "." : parent;
    if (statvfs(where.c_str(), &drive) != 0) return std::nullopt;
  }
  return uint64_t{drive.f_bavail} * uint64_t{drive.f_frsize};
}

std::optional<uint64_t> LastWriteStamp(std::string_view path) {
  struct stat info {};
  if (stat(std::string(path).c_str(), &info) != 0) return std::nullopt;
  const auto written_ns = static_cast<uint64_t>(info.st_mtim.tv_sec) * 1'000'000'000 +
                          static_cast<uint64_t>(info.st_mtim.tv_nsec);
  // The system's file time moves in steps of milliseconds: two files replaced
  // within one step differ by number or size.
  constexpr uint64_t kSpread = 0x9E3779B97F4A7C15;
  return written_ns ^ (uint64_t{info.st_ino} * kSpread) ^
         (static_cast<uint64_t>(info.st_size) << 40);
}

FileResult CheckNotInUse(std::string_view path) {
  const FileDescriptor fd(Uninterrupted([&] {
    return open(std::string(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  }));
  if (!fd.valid()) return Failure(errno);
  return LockForWriting(fd.get(), LOCK_SH);
}

void HideFile(std::string_view) {
  // A file is hidden by its name here, and names belong to the caller.
}

namespace file_rules {

std::string_view PathSeparators() {
  return "/";
}

size_t RootLength(std::string_view path) {
  return path.starts_with('/') ? 1 : 0;
}

void CopyAccess(std::string_view from, std::string_view to) {
  struct stat info {};
  if (stat(std::string(from).c_str(), &info) != 0) return;
  // A file system without rights refuses; the file is whole all the same.
  (void)chmod(std::string(to).c_str(), info.st_mode & 0777);
}

void CommitFolderOf(std::string_view path) {
  const std::string_view parent = ParentFolder(path);
  const std::string folder(parent.empty() ? "." : parent);
  const FileDescriptor fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // The rename has been done; file systems that cannot commit a folder say so here.
  if (fd.valid()) (void)fsync(fd.get());
}

}  // namespace file_rules
}  // namespace orventa
