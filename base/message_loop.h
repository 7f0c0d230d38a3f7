// The main thread's loop: messages posted from any thread, numbered timers and
// the desktop's own events, all handled on the one thread that runs it.
//
// Promises:
//  1. Handlers run on the thread inside Run, one at a time, never nested, except
//     inside a handler that has opened a menu or a dialog, whose own loop serves.
//     SessionEnding does not wait for a handler at work.
//  2. Messages posted from one thread are handled in the order of posting.
//  3. What was written before Post is visible to the handler of that message.
//  4. Post, Quit and Close may be called from any thread, and never block.
//  5. A message still waiting when Run returns is destroyed, unhandled, with the
//     loop; Post after that returns false and the caller still owns nothing.
//  6. A timer that falls due several times while a handler runs is handled once.
//     Neither messages nor timers keep the other from being served.
//  7. A timer set again starts its period anew; a cleared one does not fire, even
//     when it was due already.
//  8. Posted messages and timers go on being served while a menu or a dialog of
//     this thread is open.
#pragma once

#include <cstdint>
#include <memory>

namespace orventa {

// What a message carries beyond its number. Owned by the message.
struct MessageRecord {
  virtual ~MessageRecord() = default;
};

struct Message {
  uint32_t id = 0;  // the owner of the loop numbers its messages
  uint64_t value = 0;
  std::unique_ptr<MessageRecord> record;
};

// What the desktop says to the service.
enum class SystemEvent {
  Suspending,  // the machine is about to sleep
  Resumed,
  DisplaysChanged,
  ThemeChanged,
  VolumeArrived,   // a drive was plugged in
  TrayRebuilt,     // the notification area was started again
  CloseRequested,  // end the service in the ordinary way
  SessionEnding,   // the user signs out or the machine goes down: the handler
                   // returns when the process may be killed
};

class IMessageHandler {
 public:
  virtual ~IMessageHandler() = default;
  virtual void OnMessage(Message message) = 0;
  virtual void OnTimer(uint32_t timer_id) = 0;
  virtual void OnSystemEvent(SystemEvent event) = 0;
};

class IMessageLoop {
 public:
  virtual ~IMessageLoop() = default;

  // Runs until Quit. Call once. The handler must outlive the call.
  virtual void Run(IMessageHandler& handler) = 0;

  // Makes Run return after the handler at work. Messages behind it stay unhandled.
  virtual void Quit() = 0;

  // Asks for the ordinary end: the handler sees CloseRequested.
  virtual void Close() = 0;

  // False when the loop has ended; the message is destroyed then.
  virtual bool Post(Message message) = 0;

  // Main thread only. Fires every `period_ms` until cleared.
  virtual void SetTimer(uint32_t timer_id, uint32_t period_ms) = 0;
  virtual void ClearTimer(uint32_t timer_id) = 0;

  // Whether the loop answers within `limit_ms`: any thread but the loop's own.
  virtual bool RespondsWithin(uint32_t limit_ms) = 0;
};

}  // namespace orventa
