#include "tests/base/child.h"

#include "base/base_win/win32.h"

namespace orventa {
namespace {

class WinChild final : public IChild {
 public:
  explicit WinChild(const PROCESS_INFORMATION& started)
      : id_(started.dwProcessId), process_(started.hProcess), thread_(started.hThread) {}
  ~WinChild() override {
    WinChild::Kill();
    WaitForSingleObject(process_.get(), INFINITE);
  }
  WinChild(const WinChild&) = delete;
  WinChild& operator=(const WinChild&) = delete;

  uint64_t process_id() const override { return id_; }
  bool IsRunning() override { return WaitForSingleObject(process_.get(), 0) == WAIT_TIMEOUT; }
  void Kill() override { TerminateProcess(process_.get(), 9); }

 private:
  const DWORD id_;
  const WinHandle process_;
  const WinHandle thread_;
};

}  // namespace

std::unique_ptr<IChild> StartChild(const std::string& test, const std::string& folder) {
  wchar_t program[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, program, MAX_PATH);
  std::wstring command = L"\"" + std::wstring(program) + L"\" " + Wide("--gtest_filter=" + test) +
                         L" --gtest_also_run_disabled_tests --gtest_brief=1";
  SetEnvironmentVariableW(Wide(kChildFolderVariable).c_str(), Wide(folder).c_str());
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION started{};
  CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                 &started);
  return std::make_unique<WinChild>(started);
}

}  // namespace orventa
