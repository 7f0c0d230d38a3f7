#include "tools/orventactl/control_tool.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "base/instance.h"
#include "service/channel/channel.h"
#include "tests/fakes/temp_folder.h"

namespace orventa {
namespace {

class ControlTool : public ::testing::Test {
 protected:
  ControlTool() {
    if (const char* set = std::getenv("XDG_RUNTIME_DIR")) before = set;
    setenv("XDG_RUNTIME_DIR", folder.path().c_str(), 1);
  }
  ~ControlTool() override {
    server.reset();
    if (before.empty()) {
      unsetenv("XDG_RUNTIME_DIR");
    } else {
      setenv("XDG_RUNTIME_DIR", before.c_str(), 1);
    }
  }

  // Answers STATS with these in turn, the last one again and again, and all else with `answer`.
  void Serve(const std::string& answer, std::vector<std::string> stats = {}) {
    if (stats.empty()) stats.push_back(answer);
    ChannelOptions options;
    options.name = ChannelName(ChannelKind::Control, CurrentUserName());
    options.handler = [this, answer, stats](const ChannelRequest& request) mutable {
      asked = request.verb + "|" + request.argument + "|" + request.body;
      if (request.verb != "STATS") return answer;
      const std::string told = stats.front();
      if (stats.size() > 1) stats.erase(stats.begin());
      return told;
    };
    server.reset();
    ASSERT_TRUE(OpenChannel(*clock, std::move(options), server));
  }

  int Run(const std::vector<std::string>& arguments) {
    out.str("");
    errors.str("");
    return RunControlTool(arguments, out, errors);
  }

  std::unique_ptr<IClock> clock = MakeSystemClock();
  TempFolder folder;
  std::string before;
  std::string asked;
  std::ostringstream out;
  std::ostringstream errors;
  std::unique_ptr<IChannelServer> server;
};

TEST_F(ControlTool, PrintsDataAndTellsFailureByItsExitCode) {
  EXPECT_EQ(Run({"STATS"}), 2);
  EXPECT_EQ(errors.str(), "orventactl: ORVENTA is not running\n");

  Serve("OK\na=1\nb=2");
  EXPECT_EQ(Run({"STATS"}), 0);
  EXPECT_EQ(out.str(), "a=1\nb=2\n");
  EXPECT_EQ(asked, "STATS||");

  Serve("OK");
  EXPECT_EQ(Run({"SAVE", "30", "s"}), 0);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(asked, "SAVE|30 s|");

  Serve("ERR NoTarget nothing to save");
  EXPECT_EQ(Run({"SAVE"}), 1);
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(errors.str(), "orventactl: ERR NoTarget nothing to save\n");
}

TEST_F(ControlTool, SendsAFileAsTheBody) {
  Serve("OK");
  const std::string file = folder /
                           "b\xC3\xB6"
                           "dy.txt";
  std::ofstream(file) << "video.fps=30\r\nlast";
  EXPECT_EQ(Run({"SET_CONFIG", "--body", file}), 0);
  EXPECT_EQ(asked, "SET_CONFIG||video.fps=30\r\nlast");
  EXPECT_EQ(Run({"SET_CONFIG", "--body", folder / "missing"}), 1);
}

TEST_F(ControlTool, TellsWhatCameOfARecording) {
  const std::string idle =
      "OK\nnotice_seq=1\nwritten_seq=4\nnotice_warning=0\nnotice=x\nrecording=0\n";
  const std::string wanted =
      "OK\nnotice_seq=2\nwritten_seq=4\nnotice_warning=0\nnotice=x\nrecording=1\nrecording_path=\n";
  const std::string runs =
      "OK\nnotice_seq=2\nwritten_seq=4\nnotice_warning=0\nnotice=x\nrecording=1\nrecording_path=/"
      "r.mp4\n";
  const std::string a_clip_came =
      "OK\nnotice_seq=3\nwritten_seq=5\nnotice_warning=0\nnotice=Clip saved\nrecording=0\n";
  const std::string saved =
      "OK\nnotice_seq=4\nwritten_seq=6\nnotice_warning=0\nnotice=Recording saved\nrecording=0\n";
  const std::string refused =
      "OK\nnotice_seq=3\nwritten_seq=4\nnotice_warning=1\nnotice=Nothing to see.\nrecording=0\n";
  const struct {
    std::vector<std::string> stats;
    int code;
    const char* out;
    const char* errors;
  } kCases[] = {
      {{idle, idle, wanted, runs}, 0, "recording: /r.mp4\n", ""},
      {{idle, refused}, 1, "", "orventactl: Nothing to see.\n"},
      {{runs, runs, a_clip_came, saved}, 0, "recording saved: /r.mp4\n", ""},
      {{runs, refused}, 1, "", "orventactl: Nothing to see.\n"},
  };
  for (const auto& row : kCases) {
    Serve("OK", row.stats);
    EXPECT_EQ(Run({"record"}), row.code);
    EXPECT_EQ(out.str(), row.out);
    EXPECT_EQ(errors.str(), row.errors);
  }
}

TEST_F(ControlTool, SaysWhyAFileIsNotRepaired) {
  const std::string file = folder / "notes.mp4";
  std::ofstream(file) << "no boxes";
  const std::string expected = "orventactl: " + file + ": not an interrupted ORVENTA recording\n";
  EXPECT_EQ(Run({"repair", file}), 1);
  EXPECT_EQ(errors.str(), expected);
  Serve("OK");
  EXPECT_EQ(Run({"repair", file}), 1);
  EXPECT_EQ(errors.str(), expected);
  EXPECT_EQ(asked, "REPAIR_RECORDING||" + file);
}

TEST_F(ControlTool, ExplainsItselfAndRefusesWhatItDoesNotKnow) {
  Serve("OK");
  EXPECT_EQ(Run({"--help"}), 0);
  EXPECT_NE(out.str().find("usage: orventactl WORD"), std::string::npos);
  const std::vector<std::string> wrong[] = {
      {}, {""}, {"--verbose"}, {"SAVE", "--body"}, {"SAVE", "two\nlines"}};
  for (const auto& arguments : wrong) EXPECT_EQ(Run(arguments), 1);
  EXPECT_EQ(asked, "");
}

}  // namespace
}  // namespace orventa
