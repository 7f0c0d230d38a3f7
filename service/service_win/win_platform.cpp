#include "service/service_win/win_platform.h"

#include <windows.h>

#include <shellapi.h>
#include <shobjidl.h>

#include "base/base_win/win32.h"
#include "base/instance.h"
#include "base/log.h"
#include "base/text.h"
#include "media/media_win/gpu_scheduling.h"
#include "video/video_win/physical_pixels.h"

namespace orventa {
namespace {

constexpr wchar_t kAppId[] = L"ORVENTA.ReplayBuffer";
constexpr wchar_t kMenuClass[] = L"OrventaMenuWindow";
constexpr wchar_t kAppKey[] = L"Software\\Classes\\AppUserModelId\\ORVENTA.ReplayBuffer";

// Missing from older import headers.
constexpr ULONG kIgnoreTimerResolution = 0x4;

bool SystemLibraryLoads(const wchar_t* name) {
  const HMODULE library = LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  if (library == nullptr) return false;
  FreeLibrary(library);
  return true;
}

std::wstring ProgramPath() {
  std::wstring path(32'768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

LSTATUS SetText(const wchar_t* name, const std::wstring& text) {
  return RegSetKeyValueW(HKEY_CURRENT_USER, kAppKey, name, REG_SZ, text.c_str(),
                         static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

// The command line is one text to the system; a program's path goes in quotes.
bool StartCommand(const std::wstring& program, std::wstring command_line, const wchar_t* folder,
                  int64_t& system_code) {
  AllowSetForegroundWindow(ASFW_ANY);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  if (CreateProcessW(program.c_str(), command_line.data(), nullptr, nullptr, FALSE, 0, nullptr,
                     folder, &startup, &started) == 0) {
    system_code = GetLastError();
    return false;
  }
  CloseHandle(started.hThread);
  CloseHandle(started.hProcess);
  return true;
}

}  // namespace

std::string WinProcess::TakeEnvironment(const char* name) {
  std::string value = Environment(name);
  SetEnvironmentVariableW(Wide(name).c_str(), nullptr);
  return value;
}

void WinProcess::HonourTimerRequests() {
  PROCESS_POWER_THROTTLING_STATE state{};
  state.Version = PROCESS_POWER_THROTTLING_CURRENT_VERSION;
  state.ControlMask = kIgnoreTimerResolution;
  state.StateMask = 0;
  // Windows 10 does not know the mask, and does not throttle timers either.
  SetProcessInformation(GetCurrentProcess(), ProcessPowerThrottling, &state, sizeof(state));
}

bool WinProcess::MediaPartsPresent() {
  return SystemLibraryLoads(L"mfplat.dll") && SystemLibraryLoads(L"mfreadwrite.dll");
}

InstanceResult WinProcess::AcquireInstance(uint32_t wait_ms,
                                           std::unique_ptr<ISingleInstance>& out) {
  return AcquireSingleInstance("OrventaServiceSingleton", wait_ms, out);
}

void WinProcess::WaitForOlderProcess(uint64_t process_id, uint32_t wait_ms) {
  orventa::WaitForOlderProcess(process_id, wait_ms);
}

std::string_view WinProcess::RaiseGraphicsPriority() {
  switch (RaiseGpuScheduling()) {
    case GpuScheduling::Realtime: return "realtime";
    case GpuScheduling::High: return "high";
    case GpuScheduling::Normal: break;
  }
  return "normal";
}

void WinProcess::SetAppIdentity() {
  const HRESULT result = SetCurrentProcessExplicitAppUserModelID(kAppId);
  if (FAILED(result)) {
    LogWarning("the application's identity was not taken (%08lx)",
               static_cast<unsigned long>(result));
  }
  if (SetText(L"DisplayName", L"ORVENTA") != ERROR_SUCCESS ||
      SetText(L"IconUri", ProgramPath()) != ERROR_SUCCESS) {
    LogWarning("the application's name could not be registered");
  }
}

std::shared_ptr<void> WinProcess::HoldFolder(const std::string& path) {
  // Without the share mode for deleting, nobody can move or delete the folder.
  auto handle = std::make_shared<WinHandle>(
      CreateFileW(SystemPath(path).c_str(), FILE_LIST_DIRECTORY, FILE_SHARE_READ | FILE_SHARE_WRITE,
                  nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  return handle->valid() ? handle : nullptr;
}

void WinProcess::Print(std::string_view text) {
  // A program with windows gets no console of its own, and no handle to the one it
  // was started from, unless its output was taken up by a file or a pipe.
  HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  WinHandle console;
  if (output == nullptr || output == INVALID_HANDLE_VALUE) {
    if (AttachConsole(ATTACH_PARENT_PROCESS) == 0) return;
    console = WinHandle(CreateFileW(L"CONOUT$", GENERIC_WRITE, FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr));
    output = console.get();
  }
  DWORD written = 0;
  DWORD mode = 0;
  if (GetConsoleMode(output, &mode) != 0) {
    const std::wstring wide = Wide(text);
    WriteConsoleW(output, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
  } else {
    WriteFile(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
  }
}

void WinProcess::EndNow(int code) {
  EndProcessNow(code);
}

std::unique_ptr<IMessageLoop> WinDesktop::MakeLoop() {
  std::unique_ptr<IWinMessageLoop> loop = MakeWinMessageLoop(clock_);
  if (!loop) return nullptr;
  window_ = loop->window();
  const PhysicalPixels every_scale;
  if (!menu_owner_.Make(kMenuClass, DefWindowProcW, nullptr)) {
    LogWarning("the window for menus could not be made (%lu)", GetLastError());
  }
  return loop;
}

void WinDesktop::RaiseShutdownBlock(std::string_view reason) {
  ShutdownBlockReasonCreate(window_, Wide(reason).c_str());
}

void WinDesktop::LowerShutdownBlock() {
  ShutdownBlockReasonDestroy(window_);
}

bool WinDesktop::StartProgram(const std::string& path, const std::string& arguments,
                              const std::string& folder, int64_t& system_code) {
  const std::wstring program = Wide(path);
  return StartCommand(program, L"\"" + program + L"\" " + Wide(arguments), Wide(folder).c_str(),
                      system_code);
}

bool WinDesktop::OpenTextFile(const std::string& path, int64_t& system_code) {
  std::wstring notepad(MAX_PATH, L'\0');
  notepad.resize(GetWindowsDirectoryW(notepad.data(), MAX_PATH));
  notepad += L"\\notepad.exe";
  return StartCommand(notepad, L"notepad.exe \"" + Wide(path) + L"\"", nullptr, system_code);
}

bool WinDesktop::OpenFolder(const std::string& path, int64_t& system_code) {
  AllowSetForegroundWindow(ASFW_ANY);
  const auto result = reinterpret_cast<INT_PTR>(
      ShellExecuteW(nullptr, L"open", Wide(path).c_str(), nullptr, nullptr, SW_SHOWNORMAL));
  system_code = result;
  return result > 32;  // everything up to 32 is an error, says its description
}

void WinDesktop::Show(std::string_view text, DialogIcon icon) {
  const UINT picture = icon == DialogIcon::Error ? MB_ICONERROR : MB_ICONINFORMATION;
  MessageBoxW(nullptr, Wide(text).c_str(), L"ORVENTA", MB_OK | picture);
}

}  // namespace orventa
