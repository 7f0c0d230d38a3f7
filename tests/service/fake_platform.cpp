#include "tests/service/fake_platform.h"

#include <algorithm>
#include <utility>

#include "base/text.h"

namespace orventa {
namespace {

class HeldInstance : public ISingleInstance {};

class FakeChannel : public IChannelServer {
 public:
  FakeChannel(FakePlatform& platform, std::string name)
      : platform_(platform), name_(std::move(name)) {}
  ~FakeChannel() override {
    platform_.journal.push_back("closes channel " + name_);
    platform_.channels.erase(name_);
  }

 private:
  FakePlatform& platform_;
  std::string name_;
};

}  // namespace

FakePlatform::FakePlatform() {
  codecs[static_cast<size_t>(Codec::H264)] = {.encodes = true, .fast = true};
  for (const char* name : {"config", "local", "program", "videos"}) {
    (void)CreateFolders(Folder(name));
  }
}

FakePlatform::~FakePlatform() = default;

std::string FakePlatform::Folder(const std::string& name) const {
  return folder_ / name;
}

std::string FakePlatform::ConfigFile(const std::string& name) const {
  std::string text;
  if (!ReadWholeFile(JoinPath(Folder("config"), name), 1U << 26U, text).ok()) {
    return "(no such file)";
  }
  return text;
}

std::string FakePlatform::Ask(const std::string& verb, const std::string& body) {
  return channels.at(ChannelName(ChannelKind::Control, "tester")).handler({verb, "", body});
}

std::string FakePlatform::Stat(const std::string& key) {
  const std::string answer = Ask("STATS");
  const size_t at = answer.find("\n" + key + "=");
  if (at == std::string::npos) return "(no such line)";
  const size_t from = at + key.size() + 2;
  return answer.substr(from, answer.find('\n', from) - from);
}

void FakePlatform::NoteAfter(uint64_t ms, std::vector<std::string> keys) {
  After(ms, [this, keys = std::move(keys)] {
    std::string note;
    for (const std::string& key : keys) note += (note.empty() ? "" : " ") + Stat(key);
    notes.push_back(std::move(note));
  });
}

int FakePlatform::Run(std::vector<std::string> arguments) {
  KnownFolders folders;
  folders.config = Folder("config");
  folders.local_data = Folder("local");
  folders.videos = Folder("videos");
  folders.pictures = Folder("pictures");
  folders.temp = folder_.path();
  folders.program = Folder("program");
  Platform platform{
      clock,
      folders,
      "tester",
      *this,
      *this,
      *this,
      [this](const Config& config, const GameList& list, std::unique_ptr<ReplayEngine>& out) {
        return MakeEngine(config, list, out);
      },
      [this](IClock&, ChannelOptions options, std::unique_ptr<IChannelServer>& out) {
        return OpenFakeChannel(std::move(options), out);
      },
      [this](const std::string&) { return codecs; },
      [this](MachineCodecs& marked) {
        journal.emplace_back("asks what plays");
        for (size_t i = 0; i < marked.size(); ++i) marked[i].plays = plays[i];
      },
      [this](const std::string& path) { return finish_interrupted(path); }};
  const int code = RunService(platform, arguments);
  loop = nullptr;
  engine = nullptr;
  return code;
}

Status FakePlatform::MakeEngine(const Config& config, const GameList& list,
                                std::unique_ptr<ReplayEngine>& out) {
  journal.emplace_back("makes engine");
  if (!engine_can_be_made.ok()) return engine_can_be_made;
  auto made = std::make_unique<FakeEngine>(
      clock, [this](std::string entry) { journal.push_back(std::move(entry)); });
  made->SetSettings(config, list);
  engine = made.get();
  if (on_engine) on_engine(*engine);
  out = std::move(made);
  return Status::Ok();
}

bool FakePlatform::OpenFakeChannel(ChannelOptions options, std::unique_ptr<IChannelServer>& out) {
  if (!channels_can_be_opened) return false;
  journal.push_back("opens channel " + options.name);
  out = std::make_unique<FakeChannel>(*this, options.name);
  const std::string name = options.name;
  channels[name] = std::move(options);
  return true;
}

std::vector<std::string> FakePlatform::Log() const {
  std::string text;
  if (!ReadWholeFile(JoinPath(Folder("config"), "ORVENTA.log"), 1U << 20U, text).ok()) return {};
  std::vector<std::string> lines;
  for (const std::string_view line : Split(text, '\n')) {
    // "hh:mm:ss.mmm  LEVEL  text"
    constexpr size_t kPrefix = 12 + 2 + 5 + 2;
    if (line.size() > kPrefix && line[2] == ':') lines.emplace_back(Trim(line.substr(kPrefix)));
  }
  return lines;
}

size_t FakePlatform::LogCount(const std::string& text) const {
  const std::vector<std::string> lines = Log();
  return static_cast<size_t>(std::count(lines.begin(), lines.end(), text));
}

size_t FakePlatform::JournalCount(const std::string& entry) const {
  return static_cast<size_t>(std::count(journal.begin(), journal.end(), entry));
}

std::string FakePlatform::TakeEnvironment(const char* name) {
  journal.push_back(std::string("takes environment ") + name);
  return {};
}

void FakePlatform::HonourTimerRequests() {
  journal.emplace_back("honours timers");
}

bool FakePlatform::MediaPartsPresent() {
  journal.emplace_back("looks for media parts");
  return media_parts_present;
}

InstanceResult FakePlatform::AcquireInstance(uint32_t wait_ms,
                                             std::unique_ptr<ISingleInstance>& out) {
  journal.push_back("wants instance within " + std::to_string(wait_ms));
  const uint64_t deadline_ns = clock.SteadyNs() + wait_ms * kNsPerMs;
  if (instance_held_until_ns > deadline_ns) {
    clock.SleepUntil(deadline_ns);
    return InstanceResult::HeldByAnother;
  }
  if (instance_held_until_ns > clock.SteadyNs()) clock.SleepUntil(instance_held_until_ns);
  out = std::make_unique<HeldInstance>();
  return InstanceResult::Acquired;
}

void FakePlatform::WaitForOlderProcess(uint64_t process_id, uint32_t wait_ms) {
  journal.push_back("waits for process " + std::to_string(process_id));
  clock.SleepUntil(std::min(older_process_ends_ns, clock.SteadyNs() + wait_ms * kNsPerMs));
}

std::string_view FakePlatform::RaiseGraphicsPriority() {
  journal.emplace_back("raises graphics priority");
  return "high";
}

void FakePlatform::SetAppIdentity() {
  journal.emplace_back("sets identity");
}

std::shared_ptr<void> FakePlatform::HoldFolder(const std::string& path) {
  journal.push_back("holds folder " + std::string(FileName(path)));
  return std::make_shared<int>();
}

void FakePlatform::EndNow(int code) {
  journal.push_back("ends process with " + std::to_string(code));
  // What the real one leaves to the system, this one must be able to destroy.
  if (engine != nullptr) engine->ReleaseSaves();
}

std::unique_ptr<IMessageLoop> FakePlatform::MakeLoop() {
  journal.emplace_back("makes loop");
  if (!loop_can_be_made) return nullptr;
  auto made = std::make_unique<FakeMessageLoop>(clock);
  loop = made.get();
  return made;
}

void FakePlatform::RaiseShutdownBlock(std::string_view reason) {
  journal.push_back("raises block: " + std::string(reason));
}

void FakePlatform::LowerShutdownBlock() {
  journal.emplace_back("lowers block");
}

bool FakePlatform::StartProgram(const std::string& path, const std::string& arguments,
                                const std::string&, int64_t&) {
  journal.push_back("starts " + std::string(FileName(path)) + " " + arguments);
  return true;
}

bool FakePlatform::OpenTextFile(const std::string& path, int64_t&) {
  journal.push_back("opens text " + std::string(FileName(path)));
  return true;
}

bool FakePlatform::OpenFolder(const std::string& path, int64_t&) {
  journal.push_back("opens folder " + path);
  return true;
}

void FakePlatform::Show(std::string_view text, DialogIcon) {
  journal.emplace_back("shows dialog");
  dialogs.emplace_back(text);
}

}  // namespace orventa
