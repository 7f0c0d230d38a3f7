#include "video/video_linux/x11_connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/shm.h>
#include <xcb/xcbext.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <string>

#include "base/text.h"

namespace orventa {
namespace {

// A write to a server that is gone would otherwise end the process: the X library
// writes without MSG_NOSIGNAL. A handler that somebody installed stays.
void IgnoreBrokenPipes() {
  static std::once_flag once;
  std::call_once(once, [] {
    struct sigaction current = {};
    if (sigaction(SIGPIPE, nullptr, &current) == 0 && current.sa_handler == SIG_DFL) {
      std::signal(SIGPIPE, SIG_IGN);
    }
  });
}

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }
  void Reset(int fd) {
    Close();
    fd_ = fd;
  }

 private:
  void Close() {
    if (fd_ >= 0) close(fd_);
  }
  int fd_ = -1;
};

int PollMs(uint64_t now_ns, uint64_t until_ns) {
  if (until_ns <= now_ns) return 0;
  const uint64_t ms = (until_ns - now_ns + kNsPerMs - 1) / kNsPerMs;
  return static_cast<int>(std::min<uint64_t>(ms, 60'000));
}

bool WaitReadable(IClock& clock, int fd, uint64_t until_ns) {
  for (;;) {
    pollfd entry = {fd, POLLIN, 0};
    const int ready = poll(&entry, 1, PollMs(clock.SteadyNs(), until_ns));
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) return true;  // the reader will meet the error
    if (clock.SteadyNs() >= until_ns) return false;
  }
}

// Connects to /tmp/.X11-unix/X<display>, the abstract name first as the X library
// does. Busy: somebody listens but has stopped taking callers.
enum class Connected { Yes, Nobody, Busy };
Connected ConnectLocal(int display, Descriptor& out) {
  const std::string path = Format("/tmp/.X11-unix/X%d", display);
  for (const size_t lead : {size_t{1}, size_t{0}}) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + lead, path.data(), path.size());
    const size_t length = offsetof(sockaddr_un, sun_path) + 1 + path.size();
    out.Reset(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (out.get() < 0) return Connected::Nobody;
    if (connect(out.get(), reinterpret_cast<const sockaddr*>(&address),
                static_cast<socklen_t>(length)) == 0) {
      return Connected::Yes;
    }
    if (errno == EAGAIN) return Connected::Busy;
  }
  return Connected::Nobody;
}

// The X library waits for ever for a greeting, and a stopped server sends none. So
// a connection of our own asks first; any answer will do, a refusal too. `held`
// stays open until the real connection stands, since a server may reset itself
// when its last client leaves.
bool ServerAnswers(IClock& clock, Descriptor& held) {
  char* host = nullptr;
  int display = 0;
  if (xcb_parse_display(nullptr, &host, &display, nullptr) == 0) return true;
  const XReply<char> host_owner(host);
  if (host[0] != '\0' && std::strcmp(host, "unix") != 0) return true;

  switch (ConnectLocal(display, held)) {
    case Connected::Nobody: return true;  // the X library will say so, at once
    case Connected::Busy: return false;
    case Connected::Yes: break;
  }
  // Byte order, protocol 11.0, no authorisation.
  constexpr std::array<uint8_t, 12> kGreeting = {'l', 0, 11, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const auto sent = send(held.get(), kGreeting.data(), kGreeting.size(), MSG_NOSIGNAL);
  if (sent != static_cast<ssize_t>(kGreeting.size())) return false;
  return WaitReadable(clock, held.get(), clock.SteadyNs() + X11Connection::kAnswerTimeoutNs);
}

xcb_screen_t* Screen(const xcb_setup_t* setup, int number) {
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(setup);
  while (screens.rem > 0 && number > 0) {
    xcb_screen_next(&screens);
    --number;
  }
  return screens.rem > 0 ? screens.data : nullptr;
}

bool IsLocalSocket(int fd) {
  sockaddr_storage address = {};
  socklen_t length = sizeof address;
  return getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
         address.ss_family == AF_UNIX;
}

const xcb_visualtype_t* FindVisual(const xcb_screen_t& screen, xcb_visualid_t id) {
  for (auto depths = xcb_screen_allowed_depths_iterator(&screen); depths.rem > 0;
       xcb_depth_next(&depths)) {
    for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem > 0;
         xcb_visualtype_next(&visuals)) {
      if (visuals.data->visual_id == id) return visuals.data;
    }
  }
  return nullptr;
}

}  // namespace

Status X11Connection::Open(IClock& clock, std::unique_ptr<X11Connection>& out) {
  IgnoreBrokenPipes();
  const std::string name = Environment("DISPLAY");
  if (name.empty()) return {StatusCode::DriverError, "no X server: DISPLAY is not set"};

  Descriptor held;
  if (!ServerAnswers(clock, held)) {
    return {StatusCode::DriverError, "the X server " + name + " does not answer"};
  }
  int number = 0;
  xcb_connection_t* connection = xcb_connect(nullptr, &number);
  xcb_screen_t* screen = nullptr;
  if (xcb_connection_has_error(connection) == 0) {
    screen = Screen(xcb_get_setup(connection), number);
  }
  if (screen == nullptr) {
    xcb_disconnect(connection);
    return {StatusCode::DriverError, "no X server at " + name};
  }
  out.reset(new X11Connection(clock, connection, screen));
  Status status = out->NegotiateExtensions();
  if (!status.ok()) out.reset();
  return status;
}

X11Connection::X11Connection(IClock& clock, xcb_connection_t* connection, xcb_screen_t* screen)
    : clock_(clock), connection_(connection), screen_(screen) {}

X11Connection::~X11Connection() {
  xcb_disconnect(connection_);
}

Status X11Connection::NegotiateExtensions() {
  xcb_extension_t* const all[] = {&xcb_shm_id, &xcb_composite_id, &xcb_damage_id, &xcb_xfixes_id,
                                  &xcb_randr_id};
  for (xcb_extension_t* extension : all) xcb_prefetch_extension_data(connection_, extension);
  const auto present = [this](xcb_extension_t* extension) -> const xcb_query_extension_reply_t* {
    const auto* data = xcb_get_extension_data(connection_, extension);
    return data != nullptr && data->present != 0 ? data : nullptr;
  };

  // A server refuses requests of an extension whose version was not asked for.
  if (present(&xcb_shm_id) != nullptr) {
    const auto version = Await<xcb_shm_query_version_reply_t>(xcb_shm_query_version(connection_));
    extensions_.shared_memory = version != nullptr &&
                                (version->major_version > 1 || version->minor_version >= 2) &&
                                IsLocalSocket(xcb_get_file_descriptor(connection_));
  }
  if (present(&xcb_composite_id) != nullptr) {
    const auto version =
        Await<xcb_composite_query_version_reply_t>(xcb_composite_query_version(connection_, 0, 4));
    extensions_.composite =
        version != nullptr && (version->major_version > 0 || version->minor_version >= 2);
  }
  if (const auto* data = present(&xcb_xfixes_id)) {
    const auto version =
        Await<xcb_xfixes_query_version_reply_t>(xcb_xfixes_query_version(connection_, 4, 0));
    extensions_.fixes = version != nullptr;
    extensions_.fixes_event = data->first_event;
  }
  // Damage is counted in the regions that XFixes brings.
  if (const auto* data = present(&xcb_damage_id); data != nullptr && extensions_.fixes) {
    const auto version =
        Await<xcb_damage_query_version_reply_t>(xcb_damage_query_version(connection_, 1, 1));
    extensions_.damage = version != nullptr;
    extensions_.damage_event = data->first_event;
  }
  if (const auto* data = present(&xcb_randr_id)) {
    const auto version =
        Await<xcb_randr_query_version_reply_t>(xcb_randr_query_version(connection_, 1, 5));
    extensions_.monitors =
        version != nullptr && (version->major_version > 1 || version->minor_version >= 5);
    extensions_.randr_event = data->first_event;
  }
  return Health();
}

bool X11Connection::IsBroken() const {
  return hung_ || xcb_connection_has_error(connection_) != 0;
}

Status X11Connection::Health() const {
  if (hung_) return {StatusCode::DriverError, "the X server does not answer"};
  if (xcb_connection_has_error(connection_) != 0) {
    return {StatusCode::DriverError, "the X server closed the connection"};
  }
  return Status::Ok();
}

XEvent X11Connection::NextEvent() {
  return XEvent(xcb_poll_for_event(connection_));
}

X11Connection::Answer X11Connection::AwaitUntil(unsigned sequence, uint64_t steady_ns,
                                                XReply<void>& reply) {
  if (IsBroken()) return Answer::Lost;
  xcb_flush(connection_);
  for (;;) {
    void* answer = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (xcb_poll_for_reply(connection_, sequence, &answer, &error) != 0) {
      const XReply<xcb_generic_error_t> error_owner(error);
      waiting_since_ns_ = 0;
      reply.reset(answer);
      if (answer != nullptr) return Answer::Came;
      return IsBroken() ? Answer::Lost : Answer::Refused;
    }
    if (IsBroken()) return Answer::Lost;
    if (!WaitReadable(clock_, xcb_get_file_descriptor(connection_), steady_ns)) {
      return StillWaiting();
    }
  }
}

X11Connection::Answer X11Connection::StillWaiting() {
  const uint64_t now_ns = clock_.SteadyNs();
  if (waiting_since_ns_ == 0) waiting_since_ns_ = now_ns;
  hung_ = now_ns - waiting_since_ns_ >= kAnswerTimeoutNs;
  return hung_ ? Answer::Lost : Answer::Waiting;
}

XReply<void> X11Connection::AwaitInTime(unsigned sequence) {
  XReply<void> reply;
  const uint64_t until_ns = clock_.SteadyNs() + kAnswerTimeoutNs;
  if (AwaitUntil(sequence, until_ns, reply) == Answer::Waiting) hung_ = true;
  return reply;
}

Status X11Connection::CheckPixelFormat(uint8_t depth, xcb_visualid_t visual) const {
  const xcb_setup_t* setup = xcb_get_setup(connection_);
  bool words = false;
  for (auto formats = xcb_setup_pixmap_formats_iterator(setup); formats.rem > 0;
       xcb_format_next(&formats)) {
    if (formats.data->depth == depth) words = formats.data->bits_per_pixel == 32;
  }
  const xcb_visualtype_t* type = FindVisual(*screen_, visual);
  const bool channels = type != nullptr && type->red_mask == 0xFF0000 &&
                        type->green_mask == 0xFF00 && type->blue_mask == 0xFF;
  const bool order = setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST &&
                     std::endian::native == std::endian::little;
  if ((depth == 24 || depth == 32) && words && channels && order) return Status::Ok();
  return {StatusCode::Unsupported,
          Format("pictures of depth %u in this pixel layout cannot be captured", depth)};
}

xcb_atom_t X11Connection::Atom(const char* name) {
  const auto length = static_cast<uint16_t>(std::strlen(name));
  const auto reply = Await<xcb_intern_atom_reply_t>(xcb_intern_atom(connection_, 0, length, name));
  return reply != nullptr ? reply->atom : 0;
}

}  // namespace orventa
