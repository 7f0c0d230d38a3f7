#include "base/base_linux/runtime_folder.h"

#include <sys/stat.h>
#include <unistd.h>

#include "base/files.h"
#include "base/text.h"

namespace orventa {
namespace {

// A link could lead into a folder that somebody else reads.
bool IsOurs(const std::string& folder, mode_t forbidden_access) {
  struct stat info {};
  return lstat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == getuid() &&
         (info.st_mode & forbidden_access) == 0;
}

}  // namespace

std::string RuntimeFolder() {
  std::string session = Environment("XDG_RUNTIME_DIR");
  if (session.starts_with('/') && IsOurs(session, 022)) return session;

  std::string folder = JoinPath(FindKnownFolders().temp,
                                Format("orventa-%lu", static_cast<unsigned long>(getuid())));
  (void)mkdir(folder.c_str(), 0700);
  return IsOurs(folder, 077) ? folder : std::string();
}

}  // namespace orventa
