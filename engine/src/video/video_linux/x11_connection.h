// One connection to the X server, with waits that end: a server that hangs or dies
// leaves a broken connection and a text saying so. Extensions are negotiated when
// it opens. One thread at a time.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "base/clock.h"
#include "base/status.h"

namespace orventa {

struct FreeDeleter {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using XReply = std::unique_ptr<T, FreeDeleter>;
using XEvent = XReply<xcb_generic_event_t>;

// Without the mark that an event sent by another client carries.
inline int EventType(const xcb_generic_event_t& event) {
  return event.response_type & 0x7F;
}

// What the server can do; event numbers are those of this server.
struct X11Extensions {
  bool shared_memory = false;  // with memory handed over as a file descriptor
  bool composite = false;
  bool damage = false;
  bool fixes = false;
  bool monitors = false;  // RandR 1.5
  uint8_t damage_event = 0;
  uint8_t fixes_event = 0;
  uint8_t randr_event = 0;
};

class X11Connection {
 public:
  // How long a server may take for an answer before it counts as hung.
  static constexpr uint64_t kAnswerTimeoutNs = 2 * kNsPerSecond;

  // Opens the display that DISPLAY names.
  static Status Open(IClock& clock, std::unique_ptr<X11Connection>& out);
  ~X11Connection();
  X11Connection(const X11Connection&) = delete;
  X11Connection& operator=(const X11Connection&) = delete;

  xcb_connection_t* xcb() const { return connection_; }
  xcb_window_t root() const { return screen_->root; }
  const xcb_screen_t& screen() const { return *screen_; }
  const X11Extensions& extensions() const { return extensions_; }

  // Ok, or why the connection cannot be used any more.
  Status Health() const;
  bool IsBroken() const;

  // The next event without waiting; null when there is none.
  XEvent NextEvent();

  enum class Answer {
    Waiting,  // not yet
    Came,
    Refused,  // the server answered with an error
    Lost,     // the connection is broken
  };
  // Looks for the answer to a request until the steady clock reaches the time;
  // at least once. Sends what was asked for before. A server that has answered
  // nothing for kAnswerTimeoutNs, over however many calls, breaks the connection.
  Answer AwaitUntil(unsigned sequence, uint64_t steady_ns, XReply<void>& reply);

  // The answer to a request; null when it was refused, when none came in time
  // (the connection is then broken) or when the connection was broken before.
  template <typename Reply, typename Cookie>
  XReply<Reply> Await(Cookie cookie) {
    return XReply<Reply>(static_cast<Reply*>(AwaitInTime(cookie.sequence).release()));
  }

  // Whether pixels of this depth and visual are 32-bit words of blue, green, red
  // and a byte to ignore. Unsupported with a text when they are not.
  Status CheckPixelFormat(uint8_t depth, xcb_visualid_t visual) const;

  // The server's number for the name; 0 when the connection is broken.
  xcb_atom_t Atom(const char* name);

 private:
  X11Connection(IClock& clock, xcb_connection_t* connection, xcb_screen_t* screen);
  Answer StillWaiting();
  XReply<void> AwaitInTime(unsigned sequence);
  Status NegotiateExtensions();

  IClock& clock_;
  xcb_connection_t* connection_;
  xcb_screen_t* screen_;
  X11Extensions extensions_;
  uint64_t waiting_since_ns_ = 0;  // 0: no answer is overdue
  bool hung_ = false;
};

}  // namespace orventa
