#include "support_linux/killed_child.h"

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace orventa {
namespace {

[[noreturn]] void WorkAndEnd(const std::function<int()>& work) {
  if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(kTracingNotPermitted);
  raise(SIGSTOP);
  _exit(work());
}

}  // namespace

std::optional<int> RunUpToSystemCall(int stop, const std::function<int()>& work) {
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("cannot fork");
  if (child == 0) WorkAndEnd(work);
  int state = 0;
  const auto stopped = [&] { return waitpid(child, &state, 0) == child && WIFSTOPPED(state); };
  const auto code = [&] { return WIFEXITED(state) ? WEXITSTATUS(state) : -1; };
  if (!stopped()) return code();
  for (int i = 0; i <= stop; ++i) {
    if (ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) != 0) break;
    if (!stopped()) return code();
  }
  kill(child, SIGKILL);
  waitpid(child, &state, 0);
  return std::nullopt;
}

}  // namespace orventa
