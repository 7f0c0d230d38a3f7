#include "support_linux/child_program.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace orventa {
namespace {

std::vector<char*> Pointers(std::vector<std::string>& words) {
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

ChildProgram::ChildProgram(const std::string& program, std::vector<std::string> words,
                           std::vector<std::string> variables) {
  for (char** variable = environ; *variable != nullptr; ++variable) {
    variables.emplace_back(*variable);
  }
  const std::vector<char*> arguments = Pointers(words);
  const std::vector<char*> environment = Pointers(variables);
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error("no process for " + program);
  if (pid_ > 0) return;
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test that crashes leaves nothing behind
  if (getppid() != parent) _exit(127);
  const int quiet = open("/dev/null", O_RDWR);
  dup2(quiet, STDIN_FILENO);
  dup2(quiet, STDOUT_FILENO);
  dup2(quiet, STDERR_FILENO);
  execvpe(program.c_str(), arguments.data(), environment.data());
  _exit(127);
}

ChildProgram::~ChildProgram() {
  Kill();
}

void ChildProgram::Kill() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

}  // namespace orventa
