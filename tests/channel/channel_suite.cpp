// What a channel promises, on the real sockets or pipes of the platform.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <random>
#include <thread>

#include "base/clock.h"
#include "service/channel/channel.h"
#include "tests/channel/raw_client.h"

namespace orventa {
namespace {

class Channel : public ::testing::Test {
 protected:
  Channel() : name("test-" + std::to_string(std::random_device()())) {}

  bool Open() {
    ChannelOptions options;
    options.name = name;
    options.label_integrity = true;
    options.handler = [this](const ChannelRequest& request) { return Answer(request); };
    options.on_connect = [this] { Count(connects); };
    options.on_disconnect = [this] { Count(disconnects); };
    return OpenChannel(*clock, std::move(options), server);
  }

  std::string Answer(const ChannelRequest& request) {
    Count(requests);
    if (request.verb == "SIZE") return "OK\n" + std::to_string(request.body.size());
    if (request.verb == "FLOOD") return std::string(kMaxFrameBytes, 'x');
    return "OK\n" + request.verb + "|" + request.argument + "|" + request.body;
  }

  std::string Call(std::string_view request) {
    std::string answer;
    const auto result = CallChannel(name, request, answer);
    return result == ChannelCallResult::Answered ? answer : "not answered";
  }

  void Count(int& counter) {
    const std::lock_guard lock(mutex);
    ++counter;
    changed.notify_all();
  }
  bool Reached(const int& counter, int wanted) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(20), [&] { return counter >= wanted; });
  }

  std::unique_ptr<IClock> clock = MakeSystemClock();
  std::string name;
  std::mutex mutex;
  std::condition_variable changed;
  int connects = 0;
  int disconnects = 0;
  int requests = 0;
  std::unique_ptr<IChannelServer> server;  // the last: its thread uses the others
};

TEST_F(Channel, AnswersOneClientAfterTheOther) {
  ASSERT_TRUE(Open());
  EXPECT_EQ(Call("VERB some argument\nbody\nlines"), "OK\nVERB|some argument|body\nlines");
  EXPECT_EQ(Call("AGAIN"), "OK\nAGAIN||");
  const auto client = ConnectRaw(name);
  ASSERT_NE(client, nullptr);
  for (int i = 0; i < 50; ++i) {
    ASSERT_TRUE(client->Send(Frame("A")));
    ASSERT_EQ(client->Receive(4 + 6), Frame("OK\nA||"));
  }
}

TEST_F(Channel, TellsWhenItWaitsAndWhenAClientWent) {
  ASSERT_TRUE(Open());
  EXPECT_TRUE(Reached(connects, 1));
  EXPECT_EQ(disconnects, 0);
  EXPECT_EQ(Call("A"), "OK\nA||");
  EXPECT_TRUE(Reached(disconnects, 1));
  EXPECT_TRUE(Reached(connects, 2));
  server.reset();
  EXPECT_EQ(disconnects, 1) << "nobody was there at the end";
}

TEST_F(Channel, DropsWhoeverBreaksTheFramingAndServesTheNext) {
  ASSERT_TRUE(Open());
  const std::string broken[] = {Prefix(0), Prefix(kMaxFrameBytes + 1), Prefix(UINT32_MAX),
                                "GET / HTTP/1.1\r\n\r\n"};
  for (const std::string& bytes : broken) {
    const auto client = ConnectRaw(name);
    ASSERT_NE(client, nullptr);
    ASSERT_TRUE(client->Send(bytes));
    EXPECT_EQ(client->Receive(1), "") << "closed without an answer";
    EXPECT_EQ(Call("NEXT"), "OK\nNEXT||");
  }
  const std::string halves[] = {"", "\x05", Prefix(100) + "half"};
  for (const std::string& bytes : halves) {
    auto client = ConnectRaw(name);
    ASSERT_NE(client, nullptr);
    if (!bytes.empty()) {
      ASSERT_TRUE(client->Send(bytes));
    }
    client.reset();
    EXPECT_EQ(Call("NEXT"), "OK\nNEXT||");
  }
}

TEST_F(Channel, CarriesTheLargestFrameBothWays) {
  ASSERT_TRUE(Open());
  const std::string request = "SIZE\n" + std::string(kMaxFrameBytes - 5, 'x');
  EXPECT_EQ(Call(request), "OK\n" + std::to_string(kMaxFrameBytes - 5));
  EXPECT_EQ(Call("FLOOD").size(), kMaxFrameBytes);
  EXPECT_EQ(Call(request + "y"), "not answered");
  EXPECT_EQ(Call("NEXT"), "OK\nNEXT||");
}

TEST_F(Channel, ASecondServerOfTheNameIsRefusedUntilTheFirstIsGone) {
  if (!NamesHaveOneServer()) GTEST_SKIP() << "this system ignores the flag for first instances";
  ASSERT_TRUE(Open());
  std::unique_ptr<IChannelServer> second;
  ChannelOptions options;
  options.name = name;
  options.handler = [](const ChannelRequest&) { return std::string("OK\nsecond"); };
  EXPECT_FALSE(OpenChannel(*clock, options, second));
  EXPECT_EQ(Call("FIRST"), "OK\nFIRST||") << "the first one goes on";
  server.reset();
  EXPECT_TRUE(OpenChannel(*clock, options, second));
  EXPECT_EQ(Call("SECOND"), "OK\nsecond");
}

TEST_F(Channel, StopsWhateverItsClientDoes) {
  std::string answer;
  EXPECT_EQ(CallChannel(name, "A", answer), ChannelCallResult::NoService);
  struct Case {
    const char* what;
    std::string sent;
    int requests;
  };
  const Case cases[] = {{"says nothing", "", 0},
                        {"is in its length", std::string("\x05\0", 2), 0},
                        {"is in its frame", Prefix(100) + "half", 0},
                        {"does not read its answer", Frame("FLOOD"), 1},
                        {"waits between two requests", Frame("A"), 1}};
  for (const Case& row : cases) {
    SCOPED_TRACE(row.what);
    requests = 0;
    ASSERT_TRUE(Open());
    const auto client = ConnectRaw(name);
    ASSERT_NE(client, nullptr);
    if (!row.sent.empty()) {
      ASSERT_TRUE(client->Send(row.sent));
    }
    ASSERT_TRUE(Reached(requests, row.requests));
    server.reset();
    EXPECT_EQ(CallChannel(name, "A", answer), ChannelCallResult::NoService);
  }
}

TEST_F(Channel, StopsBeforeAnybodyCame) {
  for (int i = 0; i < 20; ++i) {
    ASSERT_TRUE(Open());
    server.reset();
  }
}

TEST_F(Channel, AnswersTheRequestAtWorkBeforeItStops) {
  std::atomic<bool> finished{false};
  ChannelOptions options;
  options.name = name;
  options.handler = [&](const ChannelRequest&) {
    Count(requests);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    finished = true;
    return std::string("OK");
  };
  ASSERT_TRUE(OpenChannel(*clock, std::move(options), server));
  const auto client = ConnectRaw(name);
  ASSERT_NE(client, nullptr);
  ASSERT_TRUE(client->Send(Frame("SLOW")));
  ASSERT_TRUE(Reached(requests, 1));
  server.reset();
  EXPECT_TRUE(finished);
  EXPECT_EQ(client->Receive(6), Frame("OK")) << "read after the server has gone";
}

}  // namespace
}  // namespace orventa
