// First: the other headers of the system lean on it.
#include <windows.h>

#include <shlobj.h>

#include "base/base_win/win32.h"
#include "base/files.h"

namespace orventa {
namespace {

std::string ShellFolder(const KNOWNFOLDERID& id) {
  PWSTR path = nullptr;
  const HRESULT result = SHGetKnownFolderPath(id, KF_FLAG_DEFAULT, nullptr, &path);
  std::string folder = SUCCEEDED(result) && path != nullptr ? Narrow(path) : std::string();
  CoTaskMemFree(path);
  return folder;
}

std::string OwnFolderIn(const KNOWNFOLDERID& id) {
  const std::string folder = ShellFolder(id);
  return folder.empty() ? std::string() : JoinPath(folder, "ORVENTA");
}

std::string TempFolder() {
  wchar_t path[MAX_PATH + 1] = {};
  const DWORD length = GetTempPathW(DWORD{std::size(path)}, path);
  if (length == 0 || length > MAX_PATH) return {};
  std::string folder = Narrow({path, length});
  if (folder.size() > 3 && folder.ends_with('\\')) folder.pop_back();
  return folder;
}

std::string ProgramFolder() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const auto room = static_cast<DWORD>(path.size());
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), room);
    if (length == 0) return {};
    if (length < room) return std::string(ParentFolder(Narrow({path.data(), length})));
    path.resize(path.size() * 2);
  }
}

}  // namespace

KnownFolders FindKnownFolders() {
  KnownFolders folders;
  folders.config = OwnFolderIn(FOLDERID_RoamingAppData);
  folders.local_data = OwnFolderIn(FOLDERID_LocalAppData);
  folders.videos = ShellFolder(FOLDERID_Videos);
  folders.pictures = ShellFolder(FOLDERID_Pictures);
  folders.temp = TempFolder();
  folders.program = ProgramFolder();
  return folders;
}

}  // namespace orventa
