#include "service/library_lines.h"

#include <optional>
#include <utility>

#include "base/files.h"
#include "base/log.h"
#include "base/text.h"
#include "service/service_state.h"
#include "service/verbs.h"

namespace orventa {
namespace {

void LogFailure(const Status& status) {
  if (!status.ok()) LogWarning("library: %s", status.ToString().c_str());
}

Status ReadMoves(std::string_view body, FileMoves& moves) {
  std::optional<std::string_view> from;
  for (std::string_view line : Split(body, '\n')) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.empty()) continue;
    const bool begins_pair = line.starts_with("from=");
    if (begins_pair == from.has_value() || (!begins_pair && !line.starts_with("to="))) {
      return {StatusCode::InvalidArgument,
              "expected pairs of from= and to=, got: " + std::string(line)};
    }
    const std::string_view path = line.substr(line.find('=') + 1);
    if (begins_pair) {
      from = path;
    } else {
      moves[std::string(*std::exchange(from, std::nullopt))] = path;
    }
  }
  if (!from) return Status::Ok();
  return {StatusCode::InvalidArgument, "no to= for " + std::string(*from)};
}

}  // namespace

void LoadLibrary(ServiceState& state) {
  const std::string folder(ParentFolder(state.config_path));
  state.library = std::make_unique<Library>(state.clock, JoinPath(folder, "written.ini"));
  std::vector<WrittenFact> facts;
  LogFailure(state.library->Read(facts));
}

void ForgetVanishedFiles(ServiceState& state) {
  (void)state.library_work.Post([&state] {
    size_t forgotten = 0;
    const Status status = state.library->ForgetVanished(forgotten);
    LogFailure(status);
    if (status.ok() && forgotten != 0) {
      LogInfo("forgot %zu file(s) that are no longer there", forgotten);
    }
  });
}

void RecordInLibrary(ServiceState& state, const std::string& path, WrittenKind kind) {
  LogFailure(state.library->AddWritten(path, kind));
}

void RecordFoundInLibrary(ServiceState& state, const std::string& path, WrittenKind kind) {
  LogFailure(state.library->AddFound(path, kind));
}

std::string FilesMoved(ServiceState& state, const ChannelRequest& request) {
  FileMoves moves;
  if (Status status = ReadMoves(request.body, moves); !status.ok()) return ErrorAnswer(status);
  size_t moved = 0;
  if (Status status = state.library->Move(moves, moved); !status.ok()) return ErrorAnswer(status);
  if (moved != 0) {
    LogInfo("library: %zu file(s) renamed or moved keep their kind and match", moved);
  }
  return Format("OK\nmoved=%zu\n", moved);
}

}  // namespace orventa
