// What is on this desktop, and how a window stands. Every call takes a desktop (one
// connection with what is remembered of it) out of a small store, so that no lock is
// held while the X server is asked. Any thread.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/mutex.h"
#include "video/video_linux/programs.h"
#include "video/video_linux/video_linux.h"
#include "video/video_linux/x11_connection.h"
#include "video/video_linux/x11_windows.h"

namespace orventa {

// One connection and the state of the window last asked about, kept true by
// events: the engine asks once a frame, the server is asked when things change.
class X11Desktop {
 public:
  static Status Open(IClock& clock, std::unique_ptr<X11Desktop>& out);

  Status TakeSnapshot(IKnownGames& known_games, DesktopSnapshot& out);

  bool IsHidden(xcb_window_t window);
  bool IsForeground(xcb_window_t window);
  const std::string& Title(xcb_window_t window);

  // Ok, or why this desktop can be asked nothing more. Notices a server that
  // went away since the last question.
  Status Health();

 private:
  explicit X11Desktop(std::unique_ptr<X11Connection> connection);
  void Watch(xcb_window_t window);
  void LookInFront();
  void ReadEvents();

  std::unique_ptr<X11Connection> connection_;
  X11Atoms atoms_;
  ProcessPrograms programs_;
  xcb_window_t watched_ = 0;
  bool window_in_doubt_ = true;  // the watched window's state
  bool active_in_doubt_ = true;  // which window is in front
  bool hidden_ = false;
  std::string title_;
  ActiveWindow active_;
  std::vector<xcb_window_t> in_front_;  // the active window and those it belongs to
};

class X11DesktopView final : public IDesktopView {
 public:
  X11DesktopView(IClock& clock, IKnownGames& known_games);

  Status TakeSnapshot(DesktopSnapshot& out) override;
  bool IsHiddenOrMinimised(uint64_t window) override;
  bool IsForeground(uint64_t window) override;
  void ReadTitle(uint64_t window, std::string& title) override;

 private:
  Status Take(std::unique_ptr<X11Desktop>& desktop);
  void GiveBack(std::unique_ptr<X11Desktop> desktop);

  IClock& clock_;
  IKnownGames& known_games_;
  Mutex mutex_;
  std::vector<std::unique_ptr<X11Desktop>> idle_ ORVENTA_GUARDED_BY(mutex_);
};

}  // namespace orventa
