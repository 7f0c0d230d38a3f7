#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <vector>

#include "base/files.h"
#include "base/text.h"

namespace orventa {
namespace {

constexpr uint64_t kMaxUserDirsBytes = 64 * 1024;

// The desktop's rule: a base folder that is not absolute counts as not set.
std::string AbsoluteFromEnvironment(const char* name) {
  std::string value = Environment(name);
  return value.starts_with('/') ? value : std::string();
}

std::string HomeFolder() {
  if (std::string home = AbsoluteFromEnvironment("HOME"); !home.empty()) return home;
  std::vector<char> buffer(16 * 1024);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0) return {};
  return found != nullptr && found->pw_dir != nullptr ? std::string(found->pw_dir) : std::string();
}

std::string BaseFolder(const char* name, const std::string& home, const char* below_home) {
  if (std::string folder = AbsoluteFromEnvironment(name); !folder.empty()) return folder;
  return home.empty() ? std::string() : JoinPath(home, below_home);
}

// The value of a line NAME="value" of user-dirs.dirs, which shells source: it is
// absolute or begins with $HOME, and a backslash keeps the next character.
std::string UserFolderFromLine(std::string_view value, const std::string& home) {
  if (value.size() < 2 || value.front() != '"') return {};
  std::string folder;
  bool closed = false;
  for (size_t i = 1; i < value.size() && !closed; ++i) {
    if (value[i] == '"') {
      closed = true;
    } else {
      if (value[i] == '\\' && i + 1 < value.size()) ++i;
      folder += value[i];
    }
  }
  if (!closed) return {};
  constexpr std::string_view kHome = "$HOME";
  if (folder.starts_with(kHome)) {
    if (home.empty()) return {};
    const std::string rest = folder.substr(kHome.size());
    // A folder set to the home folder itself means that it is turned off.
    return rest.empty() || rest == "/" ? std::string() : home + rest;
  }
  return folder.starts_with('/') ? folder : std::string();
}

std::string UserFolder(std::string_view dirs_text, const char* name, const std::string& home,
                       const char* below_home) {
  if (std::string folder = AbsoluteFromEnvironment(name); !folder.empty()) return folder;
  std::string folder;
  for (const std::string_view line : Split(dirs_text, '\n')) {
    const std::string_view text = Trim(line);
    const size_t equals = text.find('=');
    if (equals == std::string_view::npos || Trim(text.substr(0, equals)) != name) continue;
    folder = UserFolderFromLine(Trim(text.substr(equals + 1)), home);
  }
  if (!folder.empty()) return folder;
  return home.empty() ? std::string() : JoinPath(home, below_home);
}

std::string ProgramFolder() {
  std::array<char, PATH_MAX> path{};
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0 || static_cast<size_t>(length) == path.size()) return {};
  return std::string(ParentFolder({path.data(), static_cast<size_t>(length)}));
}

}  // namespace

KnownFolders FindKnownFolders() {
  constexpr const char* kOwnFolder = "ORVENTA";
  const std::string home = HomeFolder();
  const std::string config = BaseFolder("XDG_CONFIG_HOME", home, ".config");
  const std::string data = BaseFolder("XDG_DATA_HOME", home, ".local/share");
  std::string user_dirs;
  if (!config.empty()) {
    (void)ReadWholeFile(JoinPath(config, "user-dirs.dirs"), kMaxUserDirsBytes, user_dirs);
  }

  KnownFolders folders;
  if (!config.empty()) folders.config = JoinPath(config, kOwnFolder);
  if (!data.empty()) folders.local_data = JoinPath(data, kOwnFolder);
  folders.videos = UserFolder(user_dirs, "XDG_VIDEOS_DIR", home, "Videos");
  folders.pictures = UserFolder(user_dirs, "XDG_PICTURES_DIR", home, "Pictures");
  folders.temp = AbsoluteFromEnvironment("TMPDIR");
  if (folders.temp.empty()) folders.temp = "/tmp";
  folders.program = ProgramFolder();
  return folders;
}

}  // namespace orventa
