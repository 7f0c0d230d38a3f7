#include "tools/orventactl/control_tool.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string_view>

#include "service/channel/framing.h"
#include "tools/orventactl/recording_words.h"
#include "tools/orventactl/service_call.h"

namespace orventa {
namespace {

constexpr char kHelp[] =
    R"(orventactl -- asks the running ORVENTA service to do something, or what it knows

usage: orventactl WORD
       orventactl set SECTION.KEY=VALUE...
       orventactl repair FILE
       orventactl VERB [ARGUMENT...] [--body FILE]
       orventactl --help

words:
  save        save the whole replay
  clip        save the newest seconds
  record      start a recording, or end the one that runs, and tell its file
  repair      finish a recording that was cut off; needs no service
  status      what the service is doing, as key=value lines
  targets     what is on the desktop, and why the one thing is captured
  config      the settings file
  set         change settings: orventactl set video.fps=30 replay.duration_seconds=120
  gamelist    the list of what is to be captured
  exit        end the service

VERB is what a word stands for, or anything else the service knows, in capitals.
Further words are its argument. Some verbs take a longer text, their body: --body
FILE sends the file's text, --body - the standard input. SET_GAMELIST takes a whole
list: orventactl SET_GAMELIST --body my-list.ini

What the service answers goes to the standard output. The exit code is 0 when it
did as asked, 1 when it refused (the reason goes to the standard error output), and
2 when no service runs for this user.
)";

struct WordRow {
  std::string_view word;
  std::string_view verb;
};
constexpr std::array kWords = {
    WordRow{"save", "SAVE"},         WordRow{"clip", "SAVE_CLIP"},
    WordRow{"status", "STATS"},      WordRow{"targets", "TARGETS"},
    WordRow{"config", "GET_CONFIG"}, WordRow{"gamelist", "GET_GAMELIST"},
    WordRow{"exit", "EXIT"},
};

struct Call {
  std::string request;
  std::optional<std::string> body_file;
};

// "set a.b=c d.e=f": each a line of the body, so that values may hold blanks.
bool ParseSet(const std::vector<std::string>& arguments, Call& call) {
  call.request = "SET_CONFIG";
  for (size_t i = 1; i < arguments.size(); ++i) {
    if (arguments[i].find('\n') != std::string::npos) return false;
    call.request += "\n" + arguments[i];
  }
  return arguments.size() > 1;
}

bool ParseCall(const std::vector<std::string>& arguments, Call& call) {
  if (!arguments.empty() && arguments[0] == "set") return ParseSet(arguments, call);
  if (arguments.size() == 1) {
    for (const WordRow& row : kWords) {
      if (row.word != arguments[0]) continue;
      call.request = row.verb;
      return true;
    }
  }
  bool has_verb = false;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (argument == "--body") {
      if (i + 1 == arguments.size() || call.body_file) return false;
      call.body_file = arguments[++i];
    } else {
      if (!has_verb && argument.starts_with('-')) return false;
      if (argument.find('\n') != std::string::npos) return false;
      call.request += (has_verb ? " " : "") + argument;
      has_verb = true;
    }
  }
  return has_verb && !call.request.empty();
}

std::string ReadAll(std::istream& input) {
  return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
}

std::optional<std::string> ReadBody(const std::string& file) {
  if (file == "-") return ReadAll(std::cin);
  std::ifstream input(std::filesystem::path(std::u8string(file.begin(), file.end())),
                      std::ios::binary);
  if (!input) return std::nullopt;
  return ReadAll(input);
}

int SendCall(const std::string& request, std::ostream& out, std::ostream& errors) {
  const ServiceAnswer answer = AskService(request);
  out << answer.data;
  if (!answer.data.empty() && !answer.data.ends_with('\n')) out << "\n";
  return Report(answer, errors);
}

}  // namespace

int RunControlTool(const std::vector<std::string>& arguments, std::ostream& out,
                   std::ostream& errors) {
  if (!arguments.empty() && (arguments[0] == "--help" || arguments[0] == "-h")) {
    out << kHelp;
    return kExitOk;
  }
  if (arguments == std::vector<std::string>{"record"}) return RunRecord(out, errors);
  if (arguments.size() == 2 && arguments[0] == "repair") {
    return RunRepair(arguments[1], out, errors);
  }
  Call call;
  if (!ParseCall(arguments, call)) {
    errors
        << "usage: orventactl WORD, or VERB [ARGUMENT...] [--body FILE]; see orventactl --help\n";
    return kExitFailed;
  }
  if (call.body_file) {
    const auto body = ReadBody(*call.body_file);
    if (!body) {
      errors << "orventactl: cannot read " << *call.body_file << "\n";
      return kExitFailed;
    }
    call.request += "\n" + *body;
  }
  if (call.request.size() > kMaxFrameBytes) {
    errors << "orventactl: the request is larger than " << kMaxFrameBytes << " bytes\n";
    return kExitFailed;
  }
  return SendCall(call.request, out, errors);
}

}  // namespace orventa
