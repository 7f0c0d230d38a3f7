// What a desktop of Windows does to the service, for tests under Wine: a game's window,
// the messages that the system sends, and the user who closes a box.
//
// usage: fake_desktop window TITLE    shows one, until it is closed
//        fake_desktop tell EVENT      to the service's window; a row of kEvents
//        fake_desktop close TITLE     a window of that name, once there is one
// Exits with 0 when it was done and the window answered as it should.
#include <windows.h>

#include <algorithm>
#include <string>

namespace {

constexpr DWORD kPatienceMs = 60'000;

struct Event {
  const wchar_t* name;
  UINT message;
  WPARAM w;
  LPARAM l;
  LRESULT answer;
};
const Event kEvents[] = {
    {L"sleep", WM_POWERBROADCAST, PBT_APMSUSPEND, 0, TRUE},
    {L"wake", WM_POWERBROADCAST, PBT_APMRESUMEAUTOMATIC, 0, TRUE},
    {L"displays", WM_DISPLAYCHANGE, 32, MAKELPARAM(640, 480), 0},
    {L"may-end", WM_QUERYENDSESSION, 0, static_cast<LPARAM>(ENDSESSION_LOGOFF), TRUE},
    {L"end-cancelled", WM_ENDSESSION, FALSE, static_cast<LPARAM>(ENDSESSION_LOGOFF), 0},
    {L"end", WM_ENDSESSION, TRUE, static_cast<LPARAM>(ENDSESSION_LOGOFF), 0},
};

int ShowWindowUntilClosed(const wchar_t* title) {
  WNDCLASSW description{};
  description.lpfnWndProc = [](HWND window, UINT message, WPARAM w, LPARAM l) -> LRESULT {
    if (message == WM_DESTROY) PostQuitMessage(0);
    return DefWindowProcW(window, message, w, l);
  };
  description.lpszClassName = L"OrventaTestGame";
  RegisterClassW(&description);
  if (CreateWindowW(description.lpszClassName, title, WS_POPUP | WS_VISIBLE, 0, 0, 320, 200,
                    nullptr, nullptr, nullptr, nullptr) == nullptr) {
    return 1;
  }
  MSG message{};
  while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
  return 0;
}

int Tell(const std::wstring& name) {
  const auto* const event = std::find_if(std::begin(kEvents), std::end(kEvents),
                                         [&](const Event& known) { return known.name == name; });
  const HWND service = FindWindowW(L"OrventaServiceWindow", nullptr);
  if (event == std::end(kEvents) || service == nullptr) return 2;
  DWORD_PTR answer = 0;
  if (SendMessageTimeoutW(service, event->message, event->w, event->l, SMTO_NORMAL, kPatienceMs,
                          &answer) == 0) {
    return 3;
  }
  return static_cast<LRESULT>(answer) == event->answer ? 0 : 4;
}

int Close(const wchar_t* title) {
  for (DWORD waited = 0; waited < kPatienceMs; waited += 50) {
    const HWND window = FindWindowW(nullptr, title);
    if (window != nullptr && IsWindowVisible(window) != 0) {
      return PostMessageW(window, WM_CLOSE, 0, 0) != 0 ? 0 : 1;
    }
    Sleep(50);
  }
  return 1;
}

}  // namespace

int wmain(int count, wchar_t** words) {
  const std::wstring word = count == 3 ? words[1] : L"";
  if (word == L"window") return ShowWindowUntilClosed(words[2]);
  if (word == L"tell") return Tell(words[2]);
  if (word == L"close") return Close(words[2]);
  return 2;
}
