#include "service/channel/framing.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>

#include "base/log.h"

namespace orventa {
namespace {

constexpr size_t kLengthBytes = 4;
// Memory follows the bytes that came, not the length that was promised.
constexpr size_t kReadStep = 256 * 1024;
constexpr char kTooLarge[] = "ERR InvalidArgument the answer is too large to send";

uint32_t Length(const std::array<char, kLengthBytes>& bytes) {
  uint32_t length = 0;
  for (size_t i = 0; i < kLengthBytes; ++i) {
    length |= uint32_t{static_cast<uint8_t>(bytes[i])} << (8 * i);
  }
  return length;
}

}  // namespace

bool ReadFrame(IChannelStream& stream, std::string& text) {
  std::array<char, kLengthBytes> prefix{};
  if (!stream.Read(prefix)) return false;
  const uint32_t length = Length(prefix);
  if (length == 0 || length > kMaxFrameBytes) return false;
  text.clear();
  while (text.size() < length) {
    const size_t at = text.size();
    const size_t step = std::min<size_t>(kReadStep, length - at);
    text.resize(at + step);
    if (!stream.Read(std::span(text).subspan(at, step))) return false;
  }
  return true;
}

bool WriteFrame(IChannelStream& stream, std::string_view text) {
  if (text.empty() || text.size() > kMaxFrameBytes) return false;
  std::array<char, kLengthBytes> prefix{};
  for (size_t i = 0; i < kLengthBytes; ++i) prefix[i] = static_cast<char>(text.size() >> (8 * i));
  return stream.Write({prefix.data(), prefix.size()}) && stream.Write(text);
}

void ServeClient(IChannelStream& stream, const ChannelOptions& options,
                 const std::atomic<bool>& running) {
  try {
    std::string text;
    while (running && ReadFrame(stream, text)) {
      std::string answer = options.handler(SplitRequest(text));
      if (answer.size() > kMaxFrameBytes) answer = kTooLarge;
      if (!WriteFrame(stream, answer)) return;
    }
  } catch (const std::exception& error) {
    LogError("ipc: a request ended its connection: %s", error.what());
  }
}

ChannelCallResult CallOver(IChannelStream& stream, std::string_view request, std::string& answer) {
  const bool done = WriteFrame(stream, request) && ReadFrame(stream, answer);
  return done ? ChannelCallResult::Answered : ChannelCallResult::Broken;
}

}  // namespace orventa
