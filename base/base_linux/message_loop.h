// The loop of a Linux process: poll over a wake-up, a timer, the signals that ask
// a process to end, and the descriptors that other parts of the platform serve
// (the message bus, the X connection).
#pragma once

#include <functional>
#include <memory>

#include "base/clock.h"
#include "base/message_loop.h"

namespace orventa {

class ILinuxMessageLoop : public IMessageLoop {
 public:
  // `poll_events` is what to wait for, as POLLIN. The callback gets what poll
  // found, on the loop's thread between handlers. One watch a descriptor; it ends
  // with RemoveWatch, before the descriptor is closed. These three are called
  // before Run or on the loop's thread, also from a callback.
  virtual void AddWatch(int fd, short poll_events, std::function<void(short)> callback) = 0;
  virtual void ChangeWatch(int fd, short poll_events) = 0;
  virtual void RemoveWatch(int fd) = 0;

  // Any thread. In a watch's callback the handler has returned when this returns;
  // elsewhere the event is queued behind the messages.
  virtual void InjectSystemEvent(SystemEvent event) = 0;
};

// While it lives, SIGTERM, SIGINT and SIGHUP mean CloseRequested, unless the process
// was started with the signal ignored. One at a time in a process. The clock is the
// system's own and must outlive the loop. Null when the system refuses a descriptor.
std::unique_ptr<ILinuxMessageLoop> MakeLinuxMessageLoop(IClock& clock);

}  // namespace orventa
