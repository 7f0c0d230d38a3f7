#include "tests/base/child.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

namespace orventa {
namespace {

class LinuxChild final : public IChild {
 public:
  explicit LinuxChild(pid_t pid) : pid_(pid) {}
  ~LinuxChild() override {
    LinuxChild::Kill();
    if (!ended_) waitpid(pid_, nullptr, 0);
  }
  LinuxChild(const LinuxChild&) = delete;
  LinuxChild& operator=(const LinuxChild&) = delete;

  uint64_t process_id() const override { return static_cast<uint64_t>(pid_); }
  bool IsRunning() override {
    if (!ended_) ended_ = waitpid(pid_, nullptr, WNOHANG) != 0;
    return !ended_;
  }
  void Kill() override {
    if (!ended_) kill(pid_, SIGKILL);
  }

 private:
  const pid_t pid_;
  bool ended_ = false;
};

}  // namespace

std::unique_ptr<IChild> StartChild(const std::string& test, const std::string& folder) {
  const std::string filter = "--gtest_filter=" + test;
  const pid_t pid = fork();
  if (pid == 0) {
    setenv(kChildFolderVariable, folder.c_str(), 1);
    execl("/proc/self/exe", "child", filter.c_str(), "--gtest_also_run_disabled_tests",
          "--gtest_brief=1", nullptr);
    _exit(127);
  }
  return std::make_unique<LinuxChild>(pid);
}

}  // namespace orventa
