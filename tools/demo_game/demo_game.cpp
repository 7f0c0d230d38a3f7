// A stand-in for a game: an X11 window with a moving picture that carries its own
// frame number and flashes once a second, with a tone. For demonstrations, end-to-end tests and
// benchmarks of capture. Pictures go to the server through shared memory.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "base/text.h"
#include "tools/demo_game/beeper.h"
#include "tools/demo_game/picture_size.h"
#include "tools/demo_game/scene.h"

namespace orventa {
namespace {

constexpr char kUsage[] =
    "usage: orventa-demo-game [options]\n"
    "  --size WxH      the window's size (1280x720)\n"
    "  --fps N         frames a second, 1 to 1000 (60)\n"
    "  --title TEXT    the window's title (ORVENTA demo game)\n"
    "  --full-screen   ask the window manager for the whole screen\n"
    "  --seconds N     end by itself after this time\n"
    "  --flash-ms N    from one flash to the next, 400 to 60000 (1000)\n"
    "  --tell-flashes  print each flash's frame number and how many microseconds late\n"
    "                  it was shown\n"
    "  --help          this text\n"
    "Shows a moving picture with its frame number as a bar code along the top and the\n"
    "bottom. Flashes in the middle for a tenth of a second now and then, with a tone\n"
    "that begins to be heard as the flash is shown.\n";

struct Options {
  PictureSize size = {1280, 720};
  uint64_t fps = 60;
  std::string title = "ORVENTA demo game";
  std::optional<uint64_t> seconds;
  uint64_t flash_ms = 1000;
  bool tell_flashes = false;
  bool full_screen = false;
  bool help = false;
};

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

uint64_t Number(std::string_view name, std::string_view text, uint64_t least, uint64_t most) {
  const auto number = ParseUnsigned(text);
  if (!number || *number < least || *number > most) {
    throw UsageError(std::string(name) + ": not a number in range: " + std::string(text));
  }
  return *number;
}

Options ReadOptions(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string_view name = argv[i];
    if (name == "--help") {
      options.help = true;
      continue;
    }
    if (name == "--tell-flashes") {
      options.tell_flashes = true;
      continue;
    }
    if (name == "--full-screen") {
      options.full_screen = true;
      continue;
    }
    const std::string_view value = i + 1 < argc ? argv[i + 1] : "";
    ++i;
    if (name == "--size") {
      const auto size = ParsePictureSize(value);
      if (!size) throw UsageError("--size: not a size: " + std::string(value));
      options.size = *size;
    } else if (name == "--fps") {
      options.fps = Number(name, value, 1, 1000);
    } else if (name == "--title") {
      options.title = value;
    } else if (name == "--seconds") {
      options.seconds = Number(name, value, 1, 1'000'000);
    } else if (name == "--flash-ms") {
      options.flash_ms = Number(name, value, 400, 60'000);
    } else {
      throw UsageError("unknown option: " + std::string(name));
    }
  }
  return options;
}

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
using Event = std::unique_ptr<xcb_generic_event_t, Free>;

// A picture in memory that the server reads from.
struct Canvas {
  xcb_shm_seg_t segment = 0;
  uint32_t* pixels = nullptr;
  bool in_use = false;  // the server still reads
};

// The window and two canvases: one is drawn while the server shows the other.
class GameWindow {
 public:
  GameWindow(PictureSize size, const std::string& title, bool full_screen);
  ~GameWindow();
  GameWindow(const GameWindow&) = delete;
  GameWindow& operator=(const GameWindow&) = delete;

  // A canvas that nobody reads; waits for the server when there is none.
  Canvas& NextCanvas();
  void Show(Canvas& canvas);
  // False once the user has closed the window.
  bool IsOpen();

 private:
  void MakeWindow(const std::string& title);
  void SetText(const char* property, const char* type, std::string_view text);
  void FixSize();
  void AskForFullScreen();
  void MakeCanvas(Canvas& canvas);
  void OnEvent(const xcb_generic_event_t& event);
  xcb_atom_t Atom(const char* name);
  void ThrowIfBroken() const;

  const PictureSize size_;
  xcb_connection_t* connection_;
  xcb_screen_t* screen_ = nullptr;
  xcb_window_t window_ = 0;
  xcb_gcontext_t gc_ = 0;
  xcb_atom_t delete_window_ = 0;
  uint8_t completion_event_ = 0;
  std::array<Canvas, 2> canvases_;
  bool open_ = true;
};

GameWindow::GameWindow(PictureSize size, const std::string& title, bool full_screen)
    : size_(size), connection_(xcb_connect(nullptr, nullptr)) {
  ThrowIfBroken();
  screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
  if (screen_->root_depth != 24) throw std::runtime_error("the X screen is not 24 bits deep");
  const auto* shm = xcb_get_extension_data(connection_, &xcb_shm_id);
  if (shm == nullptr || shm->present == 0) {
    throw std::runtime_error("the X server has no shared memory extension");
  }
  completion_event_ = static_cast<uint8_t>(shm->first_event + XCB_SHM_COMPLETION);
  MakeWindow(title);
  if (full_screen) AskForFullScreen();
  for (Canvas& canvas : canvases_) MakeCanvas(canvas);
  xcb_map_window(connection_, window_);
  xcb_flush(connection_);
  ThrowIfBroken();
}

GameWindow::~GameWindow() {
  const size_t bytes = size_t{size_.width} * size_.height * sizeof(uint32_t);
  for (const Canvas& canvas : canvases_) {
    if (canvas.pixels != nullptr) munmap(canvas.pixels, bytes);
  }
  xcb_disconnect(connection_);
}

void GameWindow::MakeWindow(const std::string& title) {
  window_ = xcb_generate_id(connection_);
  const uint32_t values[] = {screen_->black_pixel, XCB_EVENT_MASK_STRUCTURE_NOTIFY};
  xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen_->root, 0, 0,
                    static_cast<uint16_t>(size_.width), static_cast<uint16_t>(size_.height), 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                    XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
  gc_ = xcb_generate_id(connection_);
  xcb_create_gc(connection_, gc_, window_, 0, nullptr);

  SetText("_NET_WM_NAME", "UTF8_STRING", title);
  SetText("WM_NAME", "UTF8_STRING", title);
  SetText("WM_CLASS", "STRING", std::string_view("orventa-demo-game\0OrventaDemoGame\0", 34));
  const auto pid = static_cast<uint32_t>(getpid());
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window_, Atom("_NET_WM_PID"),
                      XCB_ATOM_CARDINAL, 32, 1, &pid);
  delete_window_ = Atom("WM_DELETE_WINDOW");
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window_, Atom("WM_PROTOCOLS"),
                      XCB_ATOM_ATOM, 32, 1, &delete_window_);
  FixSize();
}

void GameWindow::SetText(const char* property, const char* type, std::string_view text) {
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window_, Atom(property), Atom(type), 8,
                      static_cast<uint32_t>(text.size()), text.data());
}

// WM_NORMAL_HINTS with equal least and greatest sizes: the scene has one size.
void GameWindow::FixSize() {
  constexpr uint32_t kMinAndMaxSize = 1U << 4U | 1U << 5U;
  std::array<uint32_t, 18> hints = {};
  hints[0] = kMinAndMaxSize;
  hints[5] = hints[7] = size_.width;
  hints[6] = hints[8] = size_.height;
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window_, XCB_ATOM_WM_NORMAL_HINTS,
                      XCB_ATOM_WM_SIZE_HINTS, 32, static_cast<uint32_t>(hints.size()),
                      hints.data());
}

// Before the window is mapped: from then on the state is the manager's to write.
void GameWindow::AskForFullScreen() {
  const xcb_atom_t state = Atom("_NET_WM_STATE_FULLSCREEN");
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window_, Atom("_NET_WM_STATE"),
                      XCB_ATOM_ATOM, 32, 1, &state);
}

void GameWindow::MakeCanvas(Canvas& canvas) {
  const size_t bytes = size_t{size_.width} * size_.height * sizeof(uint32_t);
  const int fd = memfd_create("orventa-demo-game", MFD_CLOEXEC);
  if (fd < 0 || ftruncate(fd, static_cast<off_t>(bytes)) != 0) {
    throw std::runtime_error("no memory for a picture");
  }
  void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) throw std::runtime_error("no memory for a picture");
  canvas.pixels = static_cast<uint32_t*>(memory);
  canvas.segment = xcb_generate_id(connection_);
  xcb_shm_attach_fd(connection_, canvas.segment, fd, 1);
}

Canvas& GameWindow::NextCanvas() {
  for (;;) {
    for (Canvas& canvas : canvases_) {
      if (!canvas.in_use) return canvas;
    }
    const Event event(xcb_wait_for_event(connection_));
    if (event == nullptr) throw std::runtime_error("the X server is gone");
    OnEvent(*event);
  }
}

void GameWindow::Show(Canvas& canvas) {
  canvas.in_use = true;
  const auto width = static_cast<uint16_t>(size_.width);
  const auto height = static_cast<uint16_t>(size_.height);
  xcb_shm_put_image(connection_, window_, gc_, width, height, 0, 0, width, height, 0, 0, 24,
                    XCB_IMAGE_FORMAT_Z_PIXMAP, 1, canvas.segment, 0);
  xcb_flush(connection_);
}

bool GameWindow::IsOpen() {
  while (const Event event{xcb_poll_for_event(connection_)}) OnEvent(*event);
  ThrowIfBroken();
  return open_;
}

void GameWindow::OnEvent(const xcb_generic_event_t& event) {
  const int type = event.response_type & 0x7F;
  if (event.response_type == 0) throw std::runtime_error("the X server refused a request");
  if (type == completion_event_) {
    const auto& done = reinterpret_cast<const xcb_shm_completion_event_t&>(event);
    for (Canvas& canvas : canvases_) {
      if (canvas.segment == done.shmseg) canvas.in_use = false;
    }
  } else if (type == XCB_CLIENT_MESSAGE) {
    const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(event);
    if (message.data.data32[0] == delete_window_) open_ = false;
  } else if (type == XCB_DESTROY_NOTIFY) {
    open_ = false;
  }
}

xcb_atom_t GameWindow::Atom(const char* name) {
  const auto length = static_cast<uint16_t>(std::strlen(name));
  const std::unique_ptr<xcb_intern_atom_reply_t, Free> reply(
      xcb_intern_atom_reply(connection_, xcb_intern_atom(connection_, 0, length, name), nullptr));
  if (reply == nullptr) throw std::runtime_error("the X server is gone");
  return reply->atom;
}

void GameWindow::ThrowIfBroken() const {
  if (xcb_connection_has_error(connection_) != 0) throw std::runtime_error("no X server");
}

// When flashes are due: with the first frame at or after each multiple of their
// period.
class Flashes {
 public:
  explicit Flashes(const Options& options)
      : fps_(options.fps), period_ns_(options.flash_ms * kNsPerMs) {}

  uint64_t FrameNs(uint64_t slot) const { return slot * kNsPerSecond / fps_; }
  uint64_t FirstSlot(uint64_t flash) const {
    return (flash * period_ns_ * fps_ + kNsPerSecond - 1) / kNsPerSecond;
  }
  // The newest flash that has begun by this slot.
  uint64_t At(uint64_t slot) const {
    uint64_t flash = FrameNs(slot) / period_ns_;
    while (FirstSlot(flash + 1) <= slot) ++flash;
    while (flash > 0 && FirstSlot(flash) > slot) --flash;
    return flash;
  }
  bool IsLit(uint64_t slot) const {
    return FrameNs(slot) - FrameNs(FirstSlot(At(slot))) < kNsPerSecond / 10;
  }

 private:
  const uint64_t fps_;
  const uint64_t period_ns_;
};

// Frames are drawn ahead and shown at absolute times; late ones are left out, so that
// the pace never drifts. The number counts frames drawn, so that a reader tells a
// frame that was lost on the way from one that was never there.
void Play(const Options& options) {
  const std::unique_ptr<IClock> clock = MakeSystemClock();
  const auto resolution = clock->RaiseTimerResolution();
  GameWindow window(options.size, options.title, options.full_screen);
  const Scene scene(options.size.width, options.size.height);
  const Flashes flashes(options);
  Beeper beeper(*clock, "orventa-demo-game");

  const uint64_t start_ns = clock->SteadyNs();
  uint64_t slot = 0;
  uint64_t shown_flash = 0;  // the one at the start has no time for its tone
  uint64_t next_beep = 1;
  for (uint32_t number = 0; window.IsOpen(); ++number) {
    const uint64_t due_ns = flashes.FrameNs(slot);
    if (options.seconds && due_ns >= *options.seconds * kNsPerSecond) return;
    const uint64_t beep_ns = flashes.FrameNs(flashes.FirstSlot(next_beep));
    if (due_ns + kBeepLeadNs >= beep_ns) {
      beeper.At(start_ns + beep_ns);
      ++next_beep;
    }
    Canvas& canvas = window.NextCanvas();
    scene.Draw(number, flashes.IsLit(slot), canvas.pixels, options.size.width);
    clock->SleepUntil(start_ns + due_ns);
    window.Show(canvas);
    const uint64_t now_ns = clock->SteadyNs() - start_ns;
    if (const uint64_t flash = flashes.At(slot); flash != shown_flash) {
      shown_flash = flash;
      const uint64_t late_us = (now_ns - flashes.FrameNs(flashes.FirstSlot(flash))) / 1000;
      if (options.tell_flashes) {
        std::printf("flash %u %llu\n", number, static_cast<unsigned long long>(late_us));
        std::fflush(stdout);
      }
    }
    slot = std::max(slot, now_ns * options.fps / kNsPerSecond) + 1;
  }
}

}  // namespace
}  // namespace orventa

int main(int argc, char** argv) {
  try {
    signal(SIGPIPE, SIG_IGN);  // a server that is gone is an error like others
    const orventa::Options options = orventa::ReadOptions(argc, argv);
    if (options.help) {
      std::fputs(orventa::kUsage, stdout);
      return 0;
    }
    orventa::Play(options);
    return 0;
  } catch (const orventa::UsageError& error) {
    std::fprintf(stderr, "orventa-demo-game: %s\n%s", error.what(), orventa::kUsage);
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "orventa-demo-game: %s\n", error.what());
    return 1;
  }
}
