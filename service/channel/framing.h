// Frames over a local byte stream, and the serving of one client with them. The
// platforms give the stream. Called on the channel's thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "service/channel/channel.h"

namespace orventa {

// The two ends' connection. Both calls move all of the bytes or say false: the
// other end went, the server stops, or it took too long.
class IChannelStream {
 public:
  virtual ~IChannelStream() = default;
  virtual bool Read(std::span<char> bytes) = 0;
  virtual bool Write(std::string_view bytes) = 0;
};

// False also for a length of 0 or above kMaxFrameBytes.
bool ReadFrame(IChannelStream& stream, std::string& text);
bool WriteFrame(IChannelStream& stream, std::string_view text);

// Answers requests until the client goes, breaks the framing, or `running` ends.
void ServeClient(IChannelStream& stream, const ChannelOptions& options,
                 const std::atomic<bool>& running);

// The client's turn: one request, one answer.
ChannelCallResult CallOver(IChannelStream& stream, std::string_view request, std::string& answer);

}  // namespace orventa
