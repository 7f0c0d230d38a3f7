#include "video/video_linux/programs.h"

#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "base/files.h"
#include "base/text.h"

namespace orventa {
namespace {

constexpr std::string_view kWineLoaders[] = {"wine", "wine64", "wine-preloader",
                                             "wine64-preloader"};
constexpr uint64_t kMaxProcBytes = 16 << 20;  // a large game maps thousands of files
constexpr size_t kMaxKnown = 256;

std::string ProcPath(uint32_t pid, const char* name) {
  return Format("/proc/%u/%s", pid, name);
}

std::string ReadProc(uint32_t pid, const char* name) {
  std::string text;
  if (!ReadWholeFile(ProcPath(pid, name), kMaxProcBytes, text).ok()) text.clear();
  return text;
}

// A program that was replaced while it runs.
std::string_view WithoutDeleted(std::string_view path) {
  constexpr std::string_view kDeleted = " (deleted)";
  if (path.ends_with(kDeleted)) path.remove_suffix(kDeleted.size());
  return path;
}

std::string RealPath(const std::string& path) {
  char resolved[PATH_MAX];
  return realpath(path.c_str(), resolved) != nullptr ? std::string(resolved) : std::string();
}

// In clock ticks since the machine started: the 20th field after the program's
// name, which may itself hold anything.
std::optional<uint64_t> StartTime(uint32_t pid) {
  const std::string text = ReadProc(pid, "stat");
  const size_t name_end = text.rfind(')');
  if (name_end == std::string::npos) return std::nullopt;
  const std::string_view rest = std::string_view(text).substr(name_end + 1);
  const std::vector<std::string_view> fields = Split(Trim(rest), ' ');
  return fields.size() >= 20 ? ParseUnsigned(fields[19]) : std::nullopt;
}

std::string ProcessVariable(uint32_t pid, std::string_view name) {
  const std::string text = ReadProc(pid, "environ");
  for (const std::string_view entry : Split(text, '\0')) {
    if (entry.size() > name.size() && entry.starts_with(name) && entry[name.size()] == '=') {
      return std::string(entry.substr(name.size() + 1));
    }
  }
  return {};
}

// "C:\Games\game.exe" through the drives of the process's prefix; empty when there
// is no such file.
std::string FileOfDosPath(uint32_t pid, std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  if (path.size() < 3 || path[1] != ':') return RealPath(path);
  std::string prefix = ProcessVariable(pid, "WINEPREFIX");
  if (prefix.empty()) prefix = JoinPath(ProcessVariable(pid, "HOME"), ".wine");
  const std::string drive = ToLower(path.substr(0, 2));
  return RealPath(prefix + "/dosdevices/" + drive + "/" + path.substr(2));
}

std::string FindWindowsProgram(uint32_t pid) {
  const std::string maps = ReadProc(pid, "maps");
  const std::string command = ReadProc(pid, "cmdline");
  const std::string started_as = command.substr(0, command.find('\0'));
  // The end of a path of either kind; the whole text when it is no path.
  const std::string name = started_as.substr(started_as.find_last_of("/\\") + 1);
  std::string program = MappedProgram(maps, name);
  if (program.empty()) program = FileOfDosPath(pid, started_as);
  if (program.empty()) program = MappedProgram(maps, "");
  return program;
}

}  // namespace

std::string MappedProgram(std::string_view maps, std::string_view program_name) {
  constexpr std::string_view kExtension = ".exe";
  for (const std::string_view line : Split(maps, '\n')) {
    const size_t path_at = line.find('/');
    if (path_at == std::string_view::npos) continue;
    const std::string_view path = WithoutDeleted(line.substr(path_at));
    const std::string_view name = FileName(path);
    const bool is_program =
        name.size() > kExtension.size() &&
        EqualsIgnoreCase(name.substr(name.size() - kExtension.size()), kExtension);
    if (is_program && (program_name.empty() || EqualsIgnoreCase(name, program_name))) {
      return std::string(path);
    }
  }
  return {};
}

std::string ProcessPrograms::ProgramOf(uint32_t pid) {
  if (pid == 0) return {};
  char path[PATH_MAX];
  const ssize_t length = readlink(ProcPath(pid, "exe").c_str(), path, sizeof path);
  if (length <= 0 || static_cast<size_t>(length) >= sizeof path) return {};
  const std::string_view program = WithoutDeleted({path, static_cast<size_t>(length)});
  if (std::find(std::begin(kWineLoaders), std::end(kWineLoaders), FileName(program)) ==
      std::end(kWineLoaders)) {
    return std::string(program);
  }
  const std::optional<uint64_t> started = StartTime(pid);
  if (!started) return {};
  const auto known = windows_programs_.find(pid);
  if (known != windows_programs_.end() && known->second.started == *started) {
    return known->second.program;
  }
  std::string windows_program = FindWindowsProgram(pid);
  // A loader that nothing is known of is no game's file.
  if (windows_programs_.size() >= kMaxKnown) windows_programs_.clear();
  windows_programs_[pid] = {*started, windows_program};
  return windows_program;
}

}  // namespace orventa
