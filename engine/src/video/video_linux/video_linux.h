// Pictures from an X11 desktop: displays and windows as capture targets, frames in
// memory. The display server is a separate process that may hang or die: every
// wait for it is bounded, and its end is an error of the capture, never of ours.
//   x11_connection  one connection: bounded waits, extensions, pixel formats
//   edid            what a monitor says of itself
//   programs        which program file a process runs, Windows programs too
//   x11_displays    the displays, from RandR
//   x11_display_watch  when they change, for the main loop
//   x11_windows     top-level windows, their titles and states
//   x11_desktop     IDesktopRows and IWindowWatch out of the four above
//   x11_sources     where a display's or a window's pixels lie at the moment
//   x11_pictures    fetching pixels into shared memory
//   x11_cursor      drawing the pointer into a picture
//   x11_capture     IVideoCapture out of these three
//   x11_graphics    IGraphics
// Made by the service's main; a clock must outlive everything made with it.
#pragma once

#include <memory>
#include <string>

#include "base/clock.h"
#include "games/targets/desktop.h"
#include "video/engine_platform.h"
#include "video/targets.h"

namespace orventa {

class ILinuxMessageLoop;

std::unique_ptr<IGraphics> MakeLinuxGraphics(IClock& clock);

class IDesktopView : public IDesktopRows, public IWindowWatch {};

// The windows and displays of the display that the DISPLAY variable names. Connects
// anew after that server was gone. `known_games` must outlive it.
std::unique_ptr<IDesktopView> MakeLinuxDesktopView(IClock& clock, IKnownGames& known_games);

// Has `loop` say DisplaysChanged when a display comes, goes or is set up anew. What it
// returns must outlive the loop; null where there is no server to hear it from.
std::shared_ptr<void> WatchLinuxDisplays(IClock& clock, ILinuxMessageLoop& loop);

}  // namespace orventa
