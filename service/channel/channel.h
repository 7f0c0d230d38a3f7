// The local channels over which the service is driven: named pipes on Windows,
// Unix stream sockets on Linux, limited to this user, with one framing.
// A frame is a 32-bit little-endian length and that many bytes of UTF-8 text.
// One client at a time is served on each channel, on the channel's own thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "base/status.h"

namespace orventa {

inline constexpr uint32_t kMaxFrameBytes = 16'777'216;

// What a request's text holds: the first line up to its first space, the rest of
// that line, and everything after it.
struct ChannelRequest {
  std::string verb;
  std::string argument;
  std::string body;
};
ChannelRequest SplitRequest(std::string_view text);

enum class ChannelKind { Control, Deck, OldDeck };
// "ORVENTA-<user>", "ORVENTA.deck-<user>" and "ORVENTA.deck"; the user's name is
// made safe, and two names never share one channel.
std::string ChannelName(ChannelKind kind, std::string_view user);

struct ChannelOptions {
  std::string name;  // as ChannelName gives it
  bool label_integrity =
      false;  // keep processes of lower integrity out, where there is such a thing
  // Called on the channel's thread, one request at a time. Returns the answer.
  std::function<std::string(const ChannelRequest&)> handler;
  std::function<void()> on_connect;     // before waiting for a client; may be empty
  std::function<void()> on_disconnect;  // after a client went; may be empty
};

// An open channel. Destroying it stops it: a wait for a client, a read or a write
// at work ends at once, a handler at work is waited for.
class IChannelServer {
 public:
  virtual ~IChannelServer() = default;
};

// False on any failure, with nothing left behind: above all when another process
// holds the name. Main thread; does not block.
bool OpenChannel(IClock& clock, ChannelOptions options, std::unique_ptr<IChannelServer>& out);

// The client's side, for tools and tests: one request, one answer.
enum class ChannelCallResult { Answered, NoService, Broken };
ChannelCallResult CallChannel(const std::string& name, std::string_view request,
                              std::string& answer);

}  // namespace orventa
