// The loop of a Windows process, around a hidden window of the class
// "OrventaServiceWindow". For the platform's own folders only.
#pragma once

#include <windows.h>

#include <functional>
#include <memory>

#include "base/clock.h"
#include "base/message_loop.h"

namespace orventa {

class IWinMessageLoop : public IMessageLoop {
 public:
  // The hidden window, for calls that want one: tray icon, hotkeys, shutdown block.
  virtual HWND window() const = 0;
  // Sees that window message from now on; one sink a message, none for those that
  // are a SystemEvent. On the loop's thread, also while a menu is open.
  virtual void SetMessageSink(UINT message, std::function<LRESULT(WPARAM, LPARAM)> sink) = 0;
};

// Made on the thread that will run it. One at a time in a process. Null when the
// window cannot be made. The clock must outlive the loop.
std::unique_ptr<IWinMessageLoop> MakeWinMessageLoop(IClock& clock);

}  // namespace orventa
