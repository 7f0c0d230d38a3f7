#include "service/verbs.h"

#include <algorithm>
#include <array>
#include <exception>
#include <string_view>

#include "base/log.h"
#include "base/text.h"
#include "service/library_lines.h"
#include "service/repair.h"
#include "service/service_state.h"
#include "service/settings_verbs.h"
#include "service/status_lines.h"

namespace orventa {
namespace {

constexpr uint32_t kMainThreadLimitMs = 200;

std::string Hello(ServiceState& state, const ChannelRequest&) {
  state.window_connected = true;
  state.window_said_hello = true;
  state.window_exit_seen = false;
  state.window_handle = 0;
  return Format("OK\nprotocol=1\nname=ORVENTA\nnotice_seq=%llu\n",
                static_cast<unsigned long long>(state.notices.NewestSeq()));
}

std::string Stats(ServiceState& state, const ChannelRequest&) {
  return "OK\n" + StatusLines(state);
}

// Asked many times a second while a window shows meters.
std::string Levels(ServiceState& state, const ChannelRequest& request) {
  const EngineLevels levels = state.engine->Levels();
  std::string answer = Format("OK\nsystem_level=%.4f\n", static_cast<double>(levels.system));
  if (request.argument == "microphone") {
    answer += Format("microphone_level=%.4f\n", static_cast<double>(levels.microphone));
  }
  return answer + Format("microphone_open=%d\nnotice_seq=%llu\n", levels.microphone_open ? 1 : 0,
                         static_cast<unsigned long long>(state.notices.NewestSeq()));
}

std::string PostCommand(ServiceState& state, TrayCommand command) {
  if (!state.loop->Post(
          {static_cast<uint32_t>(ServiceMessage::Command), static_cast<uint64_t>(command), {}})) {
    return ErrorAnswer({StatusCode::Unsupported, "ORVENTA is not responding right now"});
  }
  return "OK";
}

// Without an encoder the command goes all the same, so that the user hears of it.
std::string PostNeedingEncoder(ServiceState& state, TrayCommand command) {
  std::string answer = PostCommand(state, command);
  if (!state.engine->GetStatus().no_encoder) return answer;
  return ErrorAnswer({StatusCode::NoEncoder, "no video encoder to record with"});
}

std::string Save(ServiceState& state, const ChannelRequest&) {
  return PostNeedingEncoder(state, TrayCommand::SaveReplay);
}

std::string SaveClip(ServiceState& state, const ChannelRequest&) {
  return PostNeedingEncoder(state, TrayCommand::SaveClip);
}

std::string TogglePause(ServiceState& state, const ChannelRequest&) {
  return PostNeedingEncoder(state, TrayCommand::TogglePause);
}

std::string ToggleRecording(ServiceState& state, const ChannelRequest&) {
  return PostNeedingEncoder(state, TrayCommand::ToggleRecording);
}

std::string Exit(ServiceState& state, const ChannelRequest&) {
  state.loop->Close();
  return "OK";
}

// Whether a verb may go to a main thread that does not answer: then its work
// would wait unseen.
enum class NeedsMainThread { No, Yes };
// Whether it reads, changes and writes settings files: two of those must not mix.
enum class WritesSettings { No, Yes };

struct VerbRow {
  std::string_view verb;
  std::string (*handle)(ServiceState& state, const ChannelRequest& request);
  NeedsMainThread needs_main_thread = NeedsMainThread::No;
  WritesSettings writes_settings = WritesSettings::No;
};

constexpr std::array kVerbs = {
    VerbRow{"HELLO", Hello},
    VerbRow{"STATS", Stats},
    VerbRow{"LEVELS", Levels},
    VerbRow{"GET_CONFIG", GetConfig},
    VerbRow{"SET_CONFIG", SetConfig, NeedsMainThread::No, WritesSettings::Yes},
    VerbRow{"GET_GAMELIST", GetGameList},
    VerbRow{"SET_GAMELIST", SetGameList, NeedsMainThread::No, WritesSettings::Yes},
    VerbRow{"TARGETS", Targets},
    VerbRow{"SAVE", Save, NeedsMainThread::Yes},
    VerbRow{"SAVE_CLIP", SaveClip, NeedsMainThread::Yes},
    VerbRow{"TOGGLE_PAUSE", TogglePause, NeedsMainThread::Yes},
    VerbRow{"TOGGLE_RECORDING", ToggleRecording, NeedsMainThread::Yes},
    VerbRow{"REPAIR_RECORDING", RepairRecording},
    VerbRow{"FILES_MOVED", FilesMoved},
    VerbRow{"EXIT", Exit},
};

Status CheckMainThread(ServiceState& state) {
  if (state.loop->RespondsWithin(kMainThreadLimitMs)) return Status::Ok();
  return {StatusCode::Unsupported, "ORVENTA is not responding right now"};
}

std::string UnknownVerb(const ChannelRequest& request) {
  return ErrorAnswer({StatusCode::InvalidArgument, "unknown verb: " + request.verb});
}

std::string Dispatch(ServiceState& state, const ChannelRequest& request) {
  const auto row = std::find_if(kVerbs.begin(), kVerbs.end(),
                                [&](const VerbRow& known) { return known.verb == request.verb; });
  if (row == kVerbs.end()) return UnknownVerb(request);
  if (row->needs_main_thread == NeedsMainThread::Yes) {
    if (Status status = CheckMainThread(state); !status.ok()) return ErrorAnswer(status);
  }
  if (row->writes_settings == WritesSettings::No) return row->handle(state, request);
  const MutexLock lock(settings_lock);
  return row->handle(state, request);
}

std::string DispatchCatchingAll(ServiceState& state, const ChannelRequest& request) {
  try {
    return Dispatch(state, request);
  } catch (const Status& status) {
    return "ERR Unknown " + status.ToString();
  } catch (const std::exception& error) {
    return std::string("ERR Unknown ") + error.what();
  } catch (...) {
    return "ERR Unknown an exception without a text";
  }
}

}  // namespace

std::string HandleIpcRequest(ServiceState& state, const ChannelRequest& request) {
  std::string answer = DispatchCatchingAll(state, request);
  if (answer.size() <= kMaxFrameBytes) return answer;
  LogError("ipc: the answer to %s is %zu bytes, more than a frame holds", request.verb.c_str(),
           answer.size());
  return ErrorAnswer({StatusCode::InvalidArgument, "the answer is too large to send"});
}

std::string HandleDeckRequest(const ChannelRequest& request) {
  return UnknownVerb(request);
}

std::string ErrorAnswer(const Status& status) {
  std::string answer = "ERR " + std::string(StatusCodeWord(status.code()));
  if (!status.message().empty()) answer += " " + status.message();
  return answer;
}

}  // namespace orventa
