#include "service/channel/channel.h"

#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <array>
#include <utility>
#include <vector>

#include "base/base_win/win32.h"
#include "service/channel/framing.h"

namespace orventa {
namespace {

constexpr DWORD kBufferBytes = 65536;
constexpr DWORD kRetryMs = 1000;
// Some requests do their work before they are answered, a repair up to 20 s.
constexpr DWORD kAnswerMs = 60'000;
// How long a stop lets the answer at work get through.
constexpr DWORD kLastAnswerMs = 500;
constexpr DWORD kHighIntegrity = 12288;
constexpr DWORD kMediumIntegrity = 8192;

struct FreeLocal {
  void operator()(void* memory) const { LocalFree(memory); }
};
using LocalMemory = std::unique_ptr<void, FreeLocal>;

WinHandle MakeEvent() {
  return WinHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

std::wstring PipePath(const std::string& name) {
  return LR"(\\.\pipe\)" + Wide(name);
}

// What the process's token says; empty when it does not answer.
std::vector<uint64_t> TokenInformation(TOKEN_INFORMATION_CLASS what) {
  HANDLE raw = nullptr;
  if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &raw) == 0) return {};
  const WinHandle token(raw);
  DWORD size = 0;
  GetTokenInformation(token.get(), what, nullptr, 0, &size);
  std::vector<uint64_t> buffer((size + 7) / 8);
  if (size == 0 || GetTokenInformation(token.get(), what, buffer.data(), size, &size) == 0) {
    return {};
  }
  return buffer;
}

// The label that keeps programs of lower integrity than ours out.
std::wstring IntegrityLabel() {
  const auto buffer = TokenInformation(TokenIntegrityLevel);
  if (buffer.empty()) return {};
  PSID sid = reinterpret_cast<const TOKEN_MANDATORY_LABEL*>(buffer.data())->Label.Sid;
  const DWORD level = *GetSidSubAuthority(sid, DWORD{*GetSidSubAuthorityCount(sid)} - 1);
  if (level >= kHighIntegrity) return L"S:(ML;;NWNRNX;;;HI)";
  if (level >= kMediumIntegrity) return L"S:(ML;;NWNRNX;;;ME)";
  return {};
}

// Access for the system and this user alone.
LocalMemory MakeDescriptor(bool label_integrity) {
  const auto buffer = TokenInformation(TokenUser);
  if (buffer.empty()) return nullptr;
  wchar_t* text = nullptr;
  if (ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid, &text) ==
      0) {
    return nullptr;
  }
  const LocalMemory sid(text);
  std::wstring sddl = L"D:P(A;;GA;;;SY)(A;;GA;;;" + std::wstring(text) + L")";
  if (label_integrity) sddl += IntegrityLabel();
  void* descriptor = nullptr;
  if (ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1,
                                                           &descriptor, nullptr) == 0) {
    return nullptr;
  }
  return LocalMemory(descriptor);
}

// One overlapped operation, with an event of its own.
class Operation {
 public:
  explicit Operation(HANDLE pipe) : pipe_(pipe), event_(MakeEvent()) {
    overlapped_.hEvent = event_.get();
  }
  bool valid() const { return event_.valid(); }
  OVERLAPPED* overlapped() { return &overlapped_; }

  // The end of an operation that was begun. False when `stop` came first, and it did
  // not end within `grace_ms` of it, or the time ran out: then it is cancelled, and
  // over, since it uses our memory.
  bool Finish(HANDLE stop, DWORD timeout_ms, DWORD grace_ms, DWORD& bytes) {
    const std::array<HANDLE, 2> waits = {event_.get(), stop};
    const DWORD count = stop != nullptr ? 2 : 1;
    DWORD ended = WaitForMultipleObjects(count, waits.data(), FALSE, timeout_ms);
    if (ended == WAIT_OBJECT_0 + 1) ended = WaitForSingleObject(event_.get(), grace_ms);
    if (ended != WAIT_OBJECT_0) {
      CancelIoEx(pipe_, &overlapped_);
      GetOverlappedResult(pipe_, &overlapped_, &bytes, TRUE);
      return false;
    }
    return GetOverlappedResult(pipe_, &overlapped_, &bytes, TRUE) != 0;
  }

 private:
  HANDLE pipe_;
  WinHandle event_;
  OVERLAPPED overlapped_{};
};

class PipeStream final : public IChannelStream {
 public:
  // `stop` ends every wait once it is set; null: nothing does.
  PipeStream(HANDLE pipe, HANDLE stop, DWORD timeout_ms)
      : pipe_(pipe), stop_(stop), timeout_ms_(timeout_ms) {}

  bool Read(std::span<char> bytes) override {
    while (!bytes.empty()) {
      Operation read(pipe_);
      if (!read.valid()) return false;
      const BOOL done = ReadFile(pipe_, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr,
                                 read.overlapped());
      DWORD got = 0;
      if (!End(read, done, 0, got)) return false;
      bytes = bytes.subspan(got);
    }
    return true;
  }

  bool Write(std::string_view bytes) override {
    while (!bytes.empty()) {
      Operation write(pipe_);
      if (!write.valid()) return false;
      const BOOL done = WriteFile(pipe_, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr,
                                  write.overlapped());
      DWORD sent = 0;
      if (!End(write, done, kLastAnswerMs, sent)) return false;
      bytes.remove_prefix(sent);
    }
    return true;
  }

 private:
  bool End(Operation& operation, BOOL done, DWORD grace_ms, DWORD& bytes) const {
    if (done == 0 && GetLastError() != ERROR_IO_PENDING) return false;
    return operation.Finish(stop_, timeout_ms_, grace_ms, bytes) && bytes > 0;
  }

  HANDLE pipe_;
  HANDLE stop_;
  DWORD timeout_ms_;
};

class PipeServer final : public IChannelServer {
 public:
  explicit PipeServer(ChannelOptions options)
      : options_(std::move(options)), path_(PipePath(options_.name)) {}

  ~PipeServer() override {
    running_ = false;
    if (stop_.valid()) SetEvent(stop_.get());
    thread_.reset();
  }

  bool Start(IClock& clock) {
    stop_ = MakeEvent();
    descriptor_ = MakeDescriptor(options_.label_integrity);
    if (!stop_.valid() || descriptor_ == nullptr) return false;
    // As the first instance it fails where somebody squats on the name.
    pipe_ = MakeInstance(FILE_FLAG_FIRST_PIPE_INSTANCE);
    if (!pipe_.valid()) return false;
    thread_ = clock.StartThread("channel", ThreadPriority::Normal, [this] { Run(); });
    return thread_ != nullptr;
  }

 private:
  WinHandle MakeInstance(DWORD first) const {
    SECURITY_ATTRIBUTES attributes{sizeof(SECURITY_ATTRIBUTES), descriptor_.get(), FALSE};
    return WinHandle(CreateNamedPipeW(
        path_.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | first,
        PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
        PIPE_UNLIMITED_INSTANCES, kBufferBytes, kBufferBytes, 0, &attributes));
  }

  void Run() {
    while (running_) {
      if (options_.on_connect) options_.on_connect();
      if (Connect()) {
        PipeStream stream(pipe_.get(), stop_.get(), INFINITE);
        ServeClient(stream, options_, running_);
        if (options_.on_disconnect) options_.on_disconnect();
      }
      NextInstance();
    }
  }

  bool Connect() const {
    Operation connect(pipe_.get());
    if (!connect.valid()) return false;
    if (ConnectNamedPipe(pipe_.get(), connect.overlapped()) != 0) return true;
    const DWORD error = GetLastError();
    // A client that came before the call, or came and went again.
    if (error == ERROR_PIPE_CONNECTED || error == ERROR_NO_DATA) return true;
    DWORD unused = 0;
    return error == ERROR_IO_PENDING && connect.Finish(stop_.get(), INFINITE, 0, unused);
  }

  // Before the old one goes, so that the name is never free for others to take.
  void NextInstance() {
    WinHandle next;
    while (running_ && !(next = MakeInstance(0)).valid()) {
      WaitForSingleObject(stop_.get(), kRetryMs);
    }
    // A client can still read its last answer from a closed pipe, but not from one
    // that was disconnected; after EXIT the stop comes as fast as the client reads.
    if (running_) DisconnectNamedPipe(pipe_.get());
    pipe_ = std::move(next);
  }

  const ChannelOptions options_;
  const std::wstring path_;
  WinHandle stop_;
  LocalMemory descriptor_;
  WinHandle pipe_;
  std::atomic<bool> running_{true};
  std::unique_ptr<IThread> thread_;
};

// Waits in line while the service talks to somebody else.
WinHandle ConnectToPipe(const std::wstring& path, ChannelCallResult& failure) {
  failure = ChannelCallResult::NoService;
  for (;;) {
    WinHandle pipe(CreateFileW(
        path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
        FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION, nullptr));
    if (pipe.valid()) return pipe;
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND) return {};
    if (error != ERROR_PIPE_BUSY || WaitNamedPipeW(path.c_str(), kAnswerMs) == 0) break;
  }
  failure = ChannelCallResult::Broken;
  return {};
}

}  // namespace

bool OpenChannel(IClock& clock, ChannelOptions options, std::unique_ptr<IChannelServer>& out) {
  auto server = std::make_unique<PipeServer>(std::move(options));
  if (!server->Start(clock)) return false;
  out = std::move(server);
  return true;
}

ChannelCallResult CallChannel(const std::string& name, std::string_view request,
                              std::string& answer) {
  ChannelCallResult failure = ChannelCallResult::Broken;
  const WinHandle pipe = ConnectToPipe(PipePath(name), failure);
  if (!pipe.valid()) return failure;
  PipeStream stream(pipe.get(), nullptr, kAnswerMs);
  return CallOver(stream, request, answer);
}

}  // namespace orventa
