#include "service/channel/channel.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "base/base_linux/posix.h"
#include "base/base_linux/runtime_folder.h"
#include "base/files.h"
#include "base/log.h"
#include "base/text.h"
#include "service/channel/framing.h"

namespace orventa {
namespace {

constexpr int kForeverMs = -1;
constexpr int kRetryMs = 1000;
// Some requests do their work before they are answered, a repair up to 20 s.
constexpr int kAnswerMs = 60'000;
constexpr int kWaitingClients = 8;

// A name beyond a socket address's room becomes its beginning and a hash.
std::string SocketPath(const std::string& name) {
  const std::string folder = RuntimeFolder();
  if (folder.empty()) return {};
  std::string path = JoinPath(folder, name);
  constexpr size_t kRoom = sizeof(sockaddr_un{}.sun_path) - 1;
  if (path.size() <= kRoom) return path;
  uint64_t hash = 14695981039346656037ULL;
  for (const char c : name) hash = (hash ^ static_cast<uint8_t>(c)) * 1099511628211ULL;
  path = JoinPath(folder,
                  name.substr(0, 24) + Format("-%016llx", static_cast<unsigned long long>(hash)));
  return path.size() <= kRoom ? path : std::string();
}

sockaddr_un Address(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

FileDescriptor MakeSocket() {
  return FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

// 0 or the error.
int Connect(const FileDescriptor& socket, const std::string& path) {
  const sockaddr_un address = Address(path);
  return connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0
             ? 0
             : errno;
}

bool IsSameUser(int socket) {
  ucred peer{};
  socklen_t size = sizeof(peer);
  return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == getuid();
}

// Waits until `fd` is ready. False when `stop` is, or the time is over.
bool WaitFor(int fd, short events, int stop, int timeout_ms) {
  for (;;) {
    std::array<pollfd, 2> waits = {{{fd, events, 0}, {stop, POLLIN, 0}}};
    const int ready = poll(waits.data(), waits.size(), timeout_ms);
    if (ready < 0 && errno == EINTR) continue;
    return ready > 0 && waits[1].revents == 0;
  }
}

class SocketStream final : public IChannelStream {
 public:
  // `stop` ends every wait once it can be read; -1: nothing does.
  SocketStream(const FileDescriptor& socket, int stop, int timeout_ms)
      : socket_(socket.get()), stop_(stop), timeout_ms_(timeout_ms) {}

  bool Read(std::span<char> bytes) override {
    while (!bytes.empty()) {
      const ssize_t got = recv(socket_, bytes.data(), bytes.size(), 0);
      if (got == 0) return false;
      if (got > 0) {
        bytes = bytes.subspan(static_cast<size_t>(got));
      } else if (!MayGoOn(POLLIN)) {
        return false;
      }
    }
    return true;
  }

  bool Write(std::string_view bytes) override {
    while (!bytes.empty()) {
      const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent >= 0) {
        bytes.remove_prefix(static_cast<size_t>(sent));
      } else if (!MayGoOn(POLLOUT)) {
        return false;
      }
    }
    return true;
  }

 private:
  bool MayGoOn(short events) const {
    if (errno == EINTR) return true;
    return (errno == EAGAIN || errno == EWOULDBLOCK) &&
           WaitFor(socket_, events, stop_, timeout_ms_);
  }

  int socket_;
  int stop_;
  int timeout_ms_;
};

class SocketServer final : public IChannelServer {
 public:
  explicit SocketServer(ChannelOptions options) : options_(std::move(options)) {}

  ~SocketServer() override {
    running_ = false;
    const uint64_t one = 1;
    if (stop_.valid()) (void)!write(stop_.get(), &one, sizeof(one));
    thread_.reset();
    if (listener_.valid()) unlink(path_.c_str());
  }

  bool Start(IClock& clock) {
    path_ = SocketPath(options_.name);
    if (path_.empty() || !TakeName() || !Listen()) return false;
    stop_ = FileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!stop_.valid()) return false;
    thread_ = clock.StartThread("channel", ThreadPriority::Normal, [this] { Run(); });
    return thread_ != nullptr;
  }

 private:
  // The lock says that the name's owner lives. A cleaner of temporary files may
  // have taken the lock's file away, so the socket is asked, too.
  bool TakeName() {
    lock_ = FileDescriptor(
        open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!lock_.valid() || flock(lock_.get(), LOCK_EX | LOCK_NB) != 0) return false;
    const int error = Connect(MakeSocket(), path_);
    if (error == ENOENT) return true;
    return error == ECONNREFUSED && unlink(path_.c_str()) == 0;
  }

  bool Listen() {
    FileDescriptor socket = MakeSocket();
    const sockaddr_un address = Address(path_);
    if (!socket.valid() ||
        bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
      return false;
    }
    listener_ = std::move(socket);
    // Nobody can connect before the last of these.
    return chmod(path_.c_str(), 0600) == 0 && listen(listener_.get(), kWaitingClients) == 0;
  }

  void Run() {
    while (running_) {
      if (options_.on_connect) options_.on_connect();
      const FileDescriptor client = Accept();
      if (!client.valid()) continue;
      SocketStream stream(client, stop_.get(), kForeverMs);
      ServeClient(stream, options_, running_);
      if (options_.on_disconnect) options_.on_disconnect();
    }
  }

  // The next client of this user; none when the server stops.
  FileDescriptor Accept() {
    while (running_) {
      if (!WaitFor(listener_.get(), POLLIN, stop_.get(), kForeverMs)) continue;
      FileDescriptor client(
          accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
      if (client.valid() && IsSameUser(client.get())) return client;
      // Out of descriptors, say: the client stays in line, so look again later.
      if (!client.valid() && errno != EAGAIN && errno != ECONNABORTED && errno != EINTR) {
        (void)WaitFor(-1, 0, stop_.get(), kRetryMs);
      }
    }
    return {};
  }

  const ChannelOptions options_;
  std::string path_;
  FileDescriptor lock_;
  FileDescriptor listener_;
  FileDescriptor stop_;
  std::atomic<bool> running_{true};
  std::unique_ptr<IThread> thread_;
};

}  // namespace

bool OpenChannel(IClock& clock, ChannelOptions options, std::unique_ptr<IChannelServer>& out) {
  auto server = std::make_unique<SocketServer>(std::move(options));
  if (!server->Start(clock)) return false;
  out = std::move(server);
  return true;
}

ChannelCallResult CallChannel(const std::string& name, std::string_view request,
                              std::string& answer) {
  const std::string path = SocketPath(name);
  const FileDescriptor socket = MakeSocket();
  if (path.empty() || !socket.valid()) return ChannelCallResult::NoService;
  const int error = Connect(socket, path);
  if (error == ENOENT || error == ECONNREFUSED) return ChannelCallResult::NoService;
  if (error != 0 || !IsSameUser(socket.get())) return ChannelCallResult::Broken;
  SocketStream stream(socket, -1, kAnswerMs);
  return CallOver(stream, request, answer);
}

}  // namespace orventa
