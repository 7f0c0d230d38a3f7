// A client that need not keep to the framing: bytes to and from a channel.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace orventa {

class IRawClient {
 public:
  virtual ~IRawClient() = default;  // goes away
  virtual bool Send(std::string_view bytes) = 0;
  // That many bytes, or fewer when the server closed the connection.
  virtual std::string Receive(size_t count) = 0;
};

// Waits until it is this client's turn. Null when nothing listens.
std::unique_ptr<IRawClient> ConnectRaw(const std::string& name);

// Whether the system lets a server ask to be the first of its name. Wine does not.
bool NamesHaveOneServer();

inline std::string Prefix(uint32_t length) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(length >> shift);
  return bytes;
}

inline std::string Frame(std::string_view text) {
  return Prefix(static_cast<uint32_t>(text.size())) + std::string(text);
}

}  // namespace orventa
