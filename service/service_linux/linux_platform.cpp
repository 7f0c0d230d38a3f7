#include "service/service_linux/linux_platform.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "base/base_linux/message_loop.h"
#include "base/instance.h"
#include "base/text.h"

namespace orventa {
namespace {

// A shell in the middle ends at once, so that no dead child is left to collect.
constexpr char kDetach[] = "cd \"$0\" && \"$@\" >/dev/null 2>&1 </dev/null &";

bool StartDetached(const std::string& folder, const std::vector<std::string>& command,
                   int64_t& system_code) {
  std::vector<std::string> words = {"/bin/sh", "-c", kDetach, folder};
  words.insert(words.end(), command.begin(), command.end());
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  // The main loop takes signals by descriptor and has them blocked; a program
  // that is started here must not inherit that.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
  pid_t shell = 0;
  const int error = posix_spawn(&shell, "/bin/sh", nullptr, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) {
    system_code = error;
    return false;
  }
  int ended = 0;
  while (waitpid(shell, &ended, 0) < 0 && errno == EINTR) {
  }
  system_code = WIFEXITED(ended) ? WEXITSTATUS(ended) : -1;
  return system_code == 0;
}

// Arguments as the service writes them: words, or text in double quotes.
std::vector<std::string> SplitArguments(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  bool quoted = false;
  bool any = false;
  for (const char c : line) {
    if (c == '"') {
      quoted = !quoted;
      any = true;
    } else if (c == ' ' && !quoted) {
      if (any) words.push_back(word);
      word.clear();
      any = false;
    } else {
      word += c;
      any = true;
    }
  }
  if (any) words.push_back(word);
  return words;
}

}  // namespace

std::string LinuxProcess::TakeEnvironment(const char* name) {
  std::string value = Environment(name);
  unsetenv(name);
  return value;
}

InstanceResult LinuxProcess::AcquireInstance(uint32_t wait_ms,
                                             std::unique_ptr<ISingleInstance>& out) {
  return AcquireSingleInstance("OrventaServiceSingleton", wait_ms, out);
}

void LinuxProcess::WaitForOlderProcess(uint64_t process_id, uint32_t wait_ms) {
  orventa::WaitForOlderProcess(process_id, wait_ms);
}

void LinuxProcess::Print(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

void LinuxProcess::EndNow(int code) {
  EndProcessNow(code);
}

std::unique_ptr<IMessageLoop> LinuxDesktop::MakeLoop() {
  std::unique_ptr<ILinuxMessageLoop> loop = MakeLinuxMessageLoop(clock_);
  if (!loop) return nullptr;
  power_ = WatchPowerEvents(*loop);
  mounts_ = std::make_unique<MountWatch>(*loop);
  displays_ = watch_displays_(*loop);
  return loop;
}

void LinuxDesktop::RaiseShutdownBlock(std::string_view reason) {
  power_->RaiseShutdownBlock(reason);
}

void LinuxDesktop::LowerShutdownBlock() {
  power_->LowerShutdownBlock();
}

bool LinuxDesktop::StartProgram(const std::string& path, const std::string& arguments,
                                const std::string& folder, int64_t& system_code) {
  std::vector<std::string> command = {path};
  for (std::string& word : SplitArguments(arguments)) command.push_back(std::move(word));
  return StartDetached(folder, command, system_code);
}

bool LinuxDesktop::OpenTextFile(const std::string& path, int64_t& system_code) {
  return StartDetached("/", {"xdg-open", path}, system_code);
}

bool LinuxDesktop::OpenFolder(const std::string& path, int64_t& system_code) {
  return StartDetached("/", {"xdg-open", path}, system_code);
}

void LinuxDesktop::Show(std::string_view text, DialogIcon icon) {
  std::fprintf(stderr, "ORVENTA: %s%.*s\n", icon == DialogIcon::Error ? "error: " : "",
               static_cast<int>(text.size()), text.data());
}

}  // namespace orventa
