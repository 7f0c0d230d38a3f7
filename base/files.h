// Files by UTF-8 path, with the few promises that keep users' files whole: a
// replaced file is the old or the new one, a full drive and a file in use are
// told apart from other failures. Any thread; one object is used by one thread
// at a time. Implemented in base_win/ and base_linux/.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

namespace orventa {

enum class FileError {
  None,
  NotFound,  // no such file or folder
  InUse,     // another process holds it in a way that forbids this
  DriveFull,
  Exists,
  Other,
};

// What the system said. `system_code` is errno or GetLastError.
struct [[nodiscard]] FileResult {
  FileError error = FileError::None;
  int system_code = 0;

  bool ok() const { return error == FileError::None; }
  // The system's own description, for messages.
  std::string Text() const;
};

// A file being written. Other programs may read it meanwhile.
// Writes go straight to the system: the caller gathers small pieces.
class OutputFile {
 public:
  OutputFile();
  ~OutputFile();  // closes
  OutputFile(OutputFile&&) noexcept;
  OutputFile& operator=(OutputFile&&) noexcept;

  // Creates the file or cuts an existing one to nothing.
  FileResult Create(std::string_view path);
  // Opens an existing file to go on at its end.
  FileResult Continue(std::string_view path);
  bool IsOpen() const;
  // All bytes or an error; after an error the file's end is undefined.
  FileResult Write(std::span<const uint8_t> bytes);
  // Overwrites bytes that are already there.
  FileResult WriteAt(uint64_t offset, std::span<const uint8_t> bytes);
  // Returns when the bytes are on the medium.
  FileResult CommitToMedium();
  FileResult Close();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// A file being read by position. Writers are not kept out.
class InputFile {
 public:
  InputFile();
  ~InputFile();
  InputFile(InputFile&&) noexcept;
  InputFile& operator=(InputFile&&) noexcept;

  FileResult Open(std::string_view path);
  bool IsOpen() const;
  FileResult Size(uint64_t& bytes) const;
  // Reads up to `into.size()` bytes; `read` is less only at the file's end.
  FileResult ReadAt(uint64_t offset, std::span<uint8_t> into, size_t& read) const;
  void Close();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Reads a file of at most `max_bytes`; a longer one is FileError::Other.
FileResult ReadWholeFile(std::string_view path, uint64_t max_bytes, std::string& out);

enum class KeepBackup { No, Yes };
enum class AtomicWriteStep { Write, Replace };
// Writes `<path>.tmp`, commits it and renames it over `path`, so that a reader
// or a power cut finds the old file or the new one. With a backup the previous
// file stays as `<path>.bak`. `failed_at`, if given, tells what could not be done.
FileResult WriteFileAtomically(std::string_view path, std::string_view text, KeepBackup backup,
                               AtomicWriteStep* failed_at = nullptr);

// Shortens a file that nobody writes to its first `bytes`.
FileResult CutFile(std::string_view path, uint64_t bytes);
// Renames over an existing file in one step. InUse: Windows does not let go of a
// target that somebody has open, and half a second of trying did not help.
FileResult MoveReplacing(std::string_view from, std::string_view to);
FileResult RemoveFile(std::string_view path);  // FileError::NotFound when absent
bool FileExists(std::string_view path);
bool FolderExists(std::string_view path);
// Makes the folder and its parents; fine when it is there already.
FileResult CreateFolders(std::string_view path);
// Names (not paths) of the regular files in a folder, in no order.
FileResult ListFiles(std::string_view folder, std::vector<std::string>& names);
// Bytes that this user may still write on the drive of `path` (the path itself
// need not exist, its folder must). None: the system would not tell.
std::optional<uint64_t> FreeSpace(std::string_view path);
// A stamp that changes when the file is written. None when absent.
std::optional<uint64_t> LastWriteStamp(std::string_view path);
// FileError::InUse while another OutputFile, of this process or any other, has the
// file open. The answer is a snapshot.
FileResult CheckNotInUse(std::string_view path);
// Keeps a file out of the user's sight where the system knows such a mark.
void HideFile(std::string_view path);

// Text of paths. Both separators are understood where the system knows both.
std::string JoinPath(std::string_view folder, std::string_view name);
std::string_view ParentFolder(std::string_view path);  // empty when there is none
std::string_view FileName(std::string_view path);

// Folders of this user and this program. Empty: the system named none.
struct KnownFolders {
  std::string config;      // config.ini, gamelist.ini, ORVENTA.log
  std::string local_data;  // what is not worth taking along
  std::string videos;      // the user's own, without a folder of ours
  std::string pictures;
  std::string temp;
  std::string program;  // where the executable lies
};
KnownFolders FindKnownFolders();

}  // namespace orventa
