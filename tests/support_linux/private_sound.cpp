#include "support_linux/private_sound.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <stdexcept>

namespace orventa {
namespace {

constexpr int kToneSeconds = 60;
constexpr uint32_t kToneRate = 48000;
constexpr int kStartAttempts = 3000;  // of 10 ms

// A child in a process group of its own, so that what it starts ends with it; ended
// with the test as well.
pid_t Run(std::vector<std::string> words, const std::string& home) {
  const pid_t pid = fork();
  if (pid != 0) return pid;
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (!home.empty()) {
    setenv("HOME", home.c_str(), 1);
    setenv("XDG_RUNTIME_DIR", home.c_str(), 1);
    unsetenv("PULSE_SERVER");
  }
  const int quiet = open("/dev/null", O_RDWR);
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(quiet, fd);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  _exit(127);
}

void End(pid_t& pid) {
  if (pid <= 0) return;
  kill(-pid, SIGKILL);
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  pid = -1;
}

bool TakesClients(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool taken = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(fd);
  return taken;
}

std::string ToneFile(const std::string& folder, double hz) {
  std::string path = folder + "/tone-" + std::to_string(static_cast<int>(hz));
  if (std::filesystem::exists(path)) return path;
  std::ofstream file(path, std::ios::binary);
  for (uint32_t i = 0; i < kToneSeconds * kToneRate; ++i) {
    const double turns = i * hz / kToneRate;
    const auto sample =
        static_cast<int16_t>(std::lround(16384 * std::sin(2 * std::numbers::pi * turns)));
    file.write(reinterpret_cast<const char*>(&sample), sizeof sample);
  }
  return path;
}

}  // namespace

PrivateSound::PrivateSound() {
  std::string pattern = (std::filesystem::temp_directory_path() / "orventa-sound-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no folder for a sound server");
  folder_ = pattern;
  if (const char* const server = std::getenv("PULSE_SERVER")) before_ = server;
  setenv("PULSE_SERVER", ("unix:" + folder_ + "/native").c_str(), 1);
  Start();
}

PrivateSound::~PrivateSound() {
  Kill();
  if (before_.empty()) {
    unsetenv("PULSE_SERVER");
  } else {
    setenv("PULSE_SERVER", before_.c_str(), 1);
  }
  std::filesystem::remove_all(folder_);
}

void PrivateSound::Kill() {
  End(pid_);
}

void PrivateSound::Start() {
  const std::string socket = folder_ + "/native";
  unlink(socket.c_str());  // a killed server leaves it behind
  pid_ = Run({"pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
              "--realtime=no", "--high-priority=no", "-L",
              "module-native-protocol-unix auth-anonymous=1 socket=" + socket, "-L",
              "module-null-sink sink_name=speakers rate=48000", "-L",
              "module-null-sink sink_name=room rate=48000", "-L",
              "module-remap-source source_name=microphone master=room.monitor"},
             folder_);
  for (int attempt = 0; !TakesClients(socket); ++attempt) {
    if (attempt == kStartAttempts || waitpid(pid_, nullptr, WNOHANG) != 0) {
      throw std::runtime_error("pulseaudio did not start");
    }
    const timespec pause = {0, 10'000'000};
    nanosleep(&pause, nullptr);
  }
}

std::string PrivateSound::Command(const std::string& words) {
  FILE* const pipe = popen(("pactl " + words).c_str(), "r");
  std::string answer;
  std::array<char, 256> part;
  while (std::fgets(part.data(), part.size(), pipe) != nullptr) answer += part.data();
  if (pclose(pipe) != 0) throw std::runtime_error("pactl " + words + " failed");
  while (!answer.empty() && answer.back() == '\n') answer.pop_back();
  return answer;
}

std::string PrivateSound::AddOutput(const std::string& name, uint32_t rate) {
  return "unload-module " + Command("load-module module-null-sink sink_name=" + name +
                                    " rate=" + std::to_string(rate));
}

TonePlayer::TonePlayer(const PrivateSound& sound, double hz, const std::string& output, As as) {
  std::vector<std::string> words = {"pacat",          "--playback",       "--raw",
                                    "--channels=1",   "--format=s16le",   "--rate=48000",
                                    "--volume=65536", "--latency-msec=50"};
  if (!output.empty()) words.push_back("--device=" + output);
  words.push_back(ToneFile(sound.folder(), hz));
  if (as == As::ChildOfShell) {
    std::string line;
    for (const std::string& word : words) line += word + " ";
    words = {"sh", "-c", line + "; true"};
  }
  pid_ = Run(words, "");
}

TonePlayer::~TonePlayer() {
  End(pid_);
}

}  // namespace orventa
