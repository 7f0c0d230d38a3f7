#include "tests/channel/raw_client.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>

#include "base/base_linux/posix.h"
#include "base/base_linux/runtime_folder.h"

namespace orventa {
namespace {

class RawSocket final : public IRawClient {
 public:
  explicit RawSocket(FileDescriptor socket) : socket_(std::move(socket)) {}
  bool Send(std::string_view bytes) override {
    while (!bytes.empty()) {
      const ssize_t sent = send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent <= 0) return false;
      bytes.remove_prefix(static_cast<size_t>(sent));
    }
    return true;
  }
  std::string Receive(size_t count) override {
    std::string bytes(count, '\0');
    const ssize_t got = recv(socket_.get(), bytes.data(), count, MSG_WAITALL);
    bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return bytes;
  }

 private:
  FileDescriptor socket_;
};

}  // namespace

bool NamesHaveOneServer() {
  return true;
}

std::unique_ptr<IRawClient> ConnectRaw(const std::string& name) {
  FileDescriptor made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = RuntimeFolder() + "/" + name;
  std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  if (connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
    return nullptr;
  }
  return std::make_unique<RawSocket>(std::move(made));
}

}  // namespace orventa
