#include "service/channel/framing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "tests/channel/raw_client.h"

namespace orventa {
namespace {

// A connection whose client has sent all it ever will.
class Recorded final : public IChannelStream {
 public:
  explicit Recorded(std::string input) : input_(std::move(input)) {}
  bool Read(std::span<char> bytes) override {
    if (input_.size() - at_ < bytes.size()) return false;
    std::copy_n(input_.begin() + static_cast<ptrdiff_t>(at_), bytes.size(), bytes.begin());
    at_ += bytes.size();
    return true;
  }
  bool Write(std::string_view bytes) override {
    output += bytes;
    return output.size() <= room;
  }

  std::string output;
  size_t room = SIZE_MAX;

 private:
  std::string input_;
  size_t at_ = 0;
};

class Framing : public ::testing::Test {
 protected:
  void Serve(Recorded& stream) { ServeClient(stream, options, running); }
  std::string Answers(std::string input) {
    Recorded stream(std::move(input));
    Serve(stream);
    return stream.output;
  }

  std::vector<std::string> verbs;
  std::atomic<bool> running{true};
  ChannelOptions options = [this] {
    ChannelOptions made;
    made.handler = [this](const ChannelRequest& request) {
      verbs.push_back(request.verb);
      return "OK\n" + request.verb;
    };
    return made;
  }();
};

TEST_F(Framing, AnswersEachFrameInTurn) {
  EXPECT_EQ(Answers(Frame("ONE a\nb") + Frame("TWO")), Frame("OK\nONE") + Frame("OK\nTWO"));
}

TEST_F(Framing, EndsSilentlyWhereTheFramingBreaks) {
  const std::string good = Frame("ONE");
  const std::string tails[] = {
      Prefix(0) + "x",          Prefix(kMaxFrameBytes + 1) + std::string(8, 'x'),
      Prefix(UINT32_MAX),       Prefix(9) + "half",
      std::string("\x03\0", 2), "GET / HTTP/1.1\r\n\r\n"};
  for (const std::string& tail : tails) EXPECT_EQ(Answers(good + tail), Frame("OK\nONE")) << tail;
}

TEST_F(Framing, TakesTheLargestFrameAndNoLargerAnswer) {
  const std::string text = "BIG " + std::string(kMaxFrameBytes - 4, 'x');
  size_t answer_bytes = kMaxFrameBytes;
  options.handler = [&](const ChannelRequest& request) {
    EXPECT_EQ(request.argument.size(), kMaxFrameBytes - 4);
    return std::string(answer_bytes, 'y');
  };
  EXPECT_EQ(Answers(Frame(text)).size(), kMaxFrameBytes + 4);
  answer_bytes = kMaxFrameBytes + 1;
  EXPECT_EQ(Answers(Frame(text)), Frame("ERR InvalidArgument the answer is too large to send"));
}

TEST_F(Framing, StopsWhenTheClientTakesNothing) {
  Recorded stream(Frame("ONE") + Frame("TWO"));
  stream.room = 5;
  Serve(stream);
  EXPECT_EQ(verbs, std::vector<std::string>{"ONE"});
}

TEST_F(Framing, StopsAfterTheRequestAtWork) {
  options.handler = [this](const ChannelRequest&) {
    running = false;
    return std::string("OK");
  };
  EXPECT_EQ(Answers(Frame("ONE") + Frame("TWO")), Frame("OK"));
}

TEST_F(Framing, AThrowingHandlerEndsOnlyItsConnection) {
  options.handler = [](const ChannelRequest&) -> std::string { throw std::runtime_error("no"); };
  EXPECT_EQ(Answers(Frame("ONE")), "");
}

TEST_F(Framing, ACallIsBrokenWithoutAWholeAnswer) {
  std::string answer;
  Recorded whole(Frame("OK\ndata"));
  EXPECT_EQ(CallOver(whole, "ASK", answer), ChannelCallResult::Answered);
  EXPECT_EQ(answer, "OK\ndata");
  EXPECT_EQ(whole.output, Frame("ASK"));
  Recorded half(Prefix(7) + "OK");
  EXPECT_EQ(CallOver(half, "ASK", answer), ChannelCallResult::Broken);
  Recorded unused("");
  EXPECT_EQ(CallOver(unused, "", answer), ChannelCallResult::Broken);
  EXPECT_EQ(unused.output, "");
}

}  // namespace
}  // namespace orventa
