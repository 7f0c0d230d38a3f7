// Pictures from an X11 desktop: displays and windows as capture targets, frames in
// memory. The display server is a separate process that may hang or die: every
// wait for it is bounded, and its end is an error of the capture, never of ours.
//   x11_connection  one connection: bounded waits, extensions, pixel formats
//   x11_displays    the displays, from RandR
//   x11_windows     top-level windows, their titles, states and programs
//   x11_sources     where a display's or a window's pixels lie at the moment
//   x11_pictures    fetching pixels into shared memory
//   x11_cursor      drawing the pointer into a picture
//   x11_capture     IVideoCapture out of the four above
//   x11_targets     ITargetFinder and IWindowWatch
//   x11_graphics    IGraphics
// Made by the service's main; a clock must outlive everything made with it.
#pragma once

#include <memory>
#include <string>

#include "base/clock.h"
#include "video/engine_platform.h"
#include "video/targets.h"

namespace orventa {

std::unique_ptr<IGraphics> MakeLinuxGraphics(IClock& clock);

class IDesktopTargets : public ITargetFinder, public IWindowWatch {};

// Chooses the topmost window whose title contains `window_text` in any case, or
// the main display when the text is empty. Works on the display that the
// DISPLAY variable names, and connects anew after that server was gone.
std::unique_ptr<IDesktopTargets> MakeLinuxTargets(IClock& clock, std::string window_text);

}  // namespace orventa
