#include "tools/orventactl/control_tool.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string_view>

#include "base/instance.h"
#include "service/channel/channel.h"

namespace orventa {
namespace {

constexpr int kOk = 0;
constexpr int kFailed = 1;
constexpr int kNoService = 2;

constexpr char kHelp[] =
    R"(orventactl -- asks the running ORVENTA service to do something, or what it knows

usage: orventactl VERB [ARGUMENT...] [--body FILE]
       orventactl --help

VERB is one word in capitals. Further words are its argument. Some verbs take a
longer text, their body: --body FILE sends the file's text, --body - the standard
input.

examples:
  orventactl STATS                        what the service is doing, as key=value lines
  orventactl SAVE                         save the whole replay
  orventactl SAVE_CLIP                    save the newest seconds
  orventactl EXIT                         end the service

What the service answers goes to the standard output. The exit code is 0 when it
did as asked, 1 when it refused (the reason goes to the standard error output), and
2 when no service runs for this user.
)";

struct Call {
  std::string request;
  std::optional<std::string> body_file;
};

bool ParseCall(const std::vector<std::string>& arguments, Call& call) {
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

int PrintAnswer(std::string_view answer, std::ostream& out, std::ostream& errors) {
  if (answer != "OK" && !answer.starts_with("OK\n")) {
    errors << "orventactl: " << answer << "\n";
    return kFailed;
  }
  answer.remove_prefix(std::min<size_t>(3, answer.size()));
  out << answer;
  if (!answer.empty() && !answer.ends_with('\n')) out << "\n";
  return kOk;
}

}  // namespace

int RunControlTool(const std::vector<std::string>& arguments, std::ostream& out,
                   std::ostream& errors) {
  if (!arguments.empty() && (arguments[0] == "--help" || arguments[0] == "-h")) {
    out << kHelp;
    return kOk;
  }
  Call call;
  if (!ParseCall(arguments, call)) {
    errors << "usage: orventactl VERB [ARGUMENT...] [--body FILE], see orventactl --help\n";
    return kFailed;
  }
  if (call.body_file) {
    const auto body = ReadBody(*call.body_file);
    if (!body) {
      errors << "orventactl: cannot read " << *call.body_file << "\n";
      return kFailed;
    }
    call.request += "\n" + *body;
  }
  if (call.request.size() > kMaxFrameBytes) {
    errors << "orventactl: the request is larger than " << kMaxFrameBytes << " bytes\n";
    return kFailed;
  }

  std::string answer;
  switch (CallChannel(ChannelName(ChannelKind::Control, CurrentUserName()), call.request, answer)) {
    case ChannelCallResult::Answered: return PrintAnswer(answer, out, errors);
    case ChannelCallResult::NoService:
      errors << "orventactl: ORVENTA is not running\n";
      return kNoService;
    case ChannelCallResult::Broken: break;
  }
  errors << "orventactl: ORVENTA did not answer\n";
  return kNoService;
}

}  // namespace orventa
