// A client's bytes through the framing and the splitting of requests.
#include <algorithm>
#include <cstdlib>

#include "service/channel/framing.h"

namespace {

class FuzzedStream final : public orventa::IChannelStream {
 public:
  explicit FuzzedStream(std::span<const uint8_t> input) : input_(input) {}
  bool Read(std::span<char> bytes) override {
    if (input_.size() < bytes.size()) return false;
    std::copy_n(input_.begin(), bytes.size(), bytes.begin());
    input_ = input_.subspan(bytes.size());
    return true;
  }
  bool Write(std::string_view) override { return true; }

 private:
  std::span<const uint8_t> input_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  orventa::ChannelOptions options;
  options.handler = [size](const orventa::ChannelRequest& request) {
    const size_t parts = request.verb.size() + request.argument.size() + request.body.size();
    if (parts > size || request.verb.find(' ') != std::string::npos ||
        request.verb.find('\n') != std::string::npos ||
        request.argument.find('\n') != std::string::npos) {
      std::abort();
    }
    return request.body;
  };
  const std::atomic<bool> running{true};
  FuzzedStream stream({data, size});
  orventa::ServeClient(stream, options, running);
  return 0;
}
