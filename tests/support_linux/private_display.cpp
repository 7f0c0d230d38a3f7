#include "support_linux/private_display.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace orventa {
namespace {

constexpr int kStartTimeoutMs = 30'000;

// The line that the server writes once it takes clients; empty when it ends first.
std::string ReadLine(int fd) {
  std::string line;
  for (;;) {
    pollfd entry = {fd, POLLIN, 0};
    if (poll(&entry, 1, kStartTimeoutMs) <= 0) return {};
    char c = 0;
    if (read(fd, &c, 1) != 1) return {};
    if (c == '\n') return line;
    line.push_back(c);
  }
}

}  // namespace

PrivateDisplay::PrivateDisplay(const std::string& screen, std::vector<std::string> arguments)
    : screen_(screen), arguments_(std::move(arguments)) {
  Start("");
}

PrivateDisplay::~PrivateDisplay() {
  Kill();
}

void PrivateDisplay::Start(const std::string& number) {
  int ends[2] = {};
  if (pipe(ends) != 0) throw std::runtime_error("no pipe for a display server");
  fcntl(ends[0], F_SETFD, FD_CLOEXEC);
  std::vector<std::string> words = {"Xvfb"};
  if (!number.empty()) words.push_back(number);
  for (const char* word : {"-displayfd", "", "-screen", "0", "", "-nolisten", "tcp", "-noreset"}) {
    words.emplace_back(word);
  }
  words[words.size() - 7] = std::to_string(ends[1]);
  words[words.size() - 4] = screen_;
  words.insert(words.end(), arguments_.begin(), arguments_.end());

  server_ = std::make_unique<ChildProgram>("Xvfb", words);
  close(ends[1]);
  const std::string line = ReadLine(ends[0]);
  close(ends[0]);
  if (line.empty()) {
    Kill();
    throw std::runtime_error("Xvfb did not start");
  }
  name_ = ":" + line;
}

void PrivateDisplay::Kill() {
  if (server_ == nullptr) return;
  server_.reset();
  // A killed server leaves its socket and lock behind.
  const std::string number = name_.empty() ? "" : name_.substr(1);
  if (number.empty()) return;
  unlink(("/tmp/.X11-unix/X" + number).c_str());
  unlink(("/tmp/.X" + number + "-lock").c_str());
}

void PrivateDisplay::StartAgain() {
  Kill();
  Start(name_);
}

void PrivateDisplay::Freeze() {
  kill(server_->pid(), SIGSTOP);
  waitpid(server_->pid(), nullptr, WUNTRACED);
}

void PrivateDisplay::Thaw() {
  kill(server_->pid(), SIGCONT);
}

DisplayVariable::DisplayVariable(const std::string& name) {
  const char* before = std::getenv("DISPLAY");
  if (before != nullptr) before_ = before;
  setenv("DISPLAY", name.c_str(), 1);
}

DisplayVariable::~DisplayVariable() {
  if (before_.empty()) {
    unsetenv("DISPLAY");
  } else {
    setenv("DISPLAY", before_.c_str(), 1);
  }
}

}  // namespace orventa
