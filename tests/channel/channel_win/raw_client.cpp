#include "tests/channel/raw_client.h"

#include <windows.h>

namespace orventa {
namespace {

class RawPipe final : public IRawClient {
 public:
  explicit RawPipe(HANDLE pipe) : pipe_(pipe) {}
  ~RawPipe() override { CloseHandle(pipe_); }
  bool Send(std::string_view bytes) override {
    DWORD sent = 0;
    return WriteFile(pipe_, bytes.data(), static_cast<DWORD>(bytes.size()), &sent, nullptr) != 0 &&
           sent == bytes.size();
  }
  std::string Receive(size_t count) override {
    std::string bytes(count, '\0');
    size_t at = 0;
    DWORD got = 0;
    while (at < count &&
           ReadFile(pipe_, bytes.data() + at, static_cast<DWORD>(count - at), &got, nullptr) != 0) {
      at += got;
    }
    bytes.resize(at);
    return bytes;
  }

 private:
  HANDLE pipe_;
};

}  // namespace

bool NamesHaveOneServer() {
  return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") == nullptr;
}

std::unique_ptr<IRawClient> ConnectRaw(const std::string& name) {
  const std::wstring path = L"\\\\.\\pipe\\" + std::wstring(name.begin(), name.end());
  for (;;) {
    HANDLE pipe = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                              0, nullptr);
    if (pipe != INVALID_HANDLE_VALUE) return std::make_unique<RawPipe>(pipe);
    if (GetLastError() != ERROR_PIPE_BUSY || WaitNamedPipeW(path.c_str(), 10'000) == 0) {
      return nullptr;
    }
  }
}

}  // namespace orventa
