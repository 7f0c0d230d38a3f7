// What the server tells of windows: which are on top, how they are called, how they
// stand and which process they belong to. Windows come and go between two questions;
// one that is gone answers as none or an empty row. Used by X11Desktop, on its thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "games/targets/desktop_geometry.h"
#include "video/video_linux/x11_connection.h"

namespace orventa {

// The names of properties and of their values, as this server numbers them.
struct X11Atoms {
  explicit X11Atoms(X11Connection& connection);

  xcb_atom_t utf8_string;
  xcb_atom_t wm_state;
  xcb_atom_t net_wm_name;
  xcb_atom_t net_wm_pid;
  xcb_atom_t net_wm_state;
  xcb_atom_t net_wm_state_hidden;
  xcb_atom_t net_wm_state_fullscreen;
  xcb_atom_t net_wm_state_maximized_horz;
  xcb_atom_t net_wm_state_maximized_vert;
  xcb_atom_t net_wm_state_skip_taskbar;
  xcb_atom_t net_wm_window_type;
  xcb_atom_t net_wm_window_type_desktop;
  xcb_atom_t net_wm_window_type_dock;
  xcb_atom_t net_wm_window_type_utility;
  xcb_atom_t net_wm_window_type_notification;
  xcb_atom_t net_wm_desktop;
  xcb_atom_t net_frame_extents;
  xcb_atom_t gtk_frame_extents;
  xcb_atom_t motif_wm_hints;
  xcb_atom_t net_active_window;
  xcb_atom_t net_current_desktop;
  xcb_atom_t net_client_list_stacking;
};

// Windows of programs, not the frames around them, topmost first.
std::vector<xcb_window_t> ClientWindows(X11Connection& connection, const X11Atoms& atoms);

// A window that a user would take for a program's: shown, titled, on the desktop that
// is in view, and no part of the desktop itself.
struct X11Window {
  xcb_window_t window = 0;
  std::string title;         // UTF-8
  std::string window_class;  // UTF-8, at most 128 characters
  uint32_t pid = 0;          // 0: it does not tell
  uint32_t client_width = 0;
  uint32_t client_height = 0;
  DesktopRect frame;  // with what the window manager drew around it
  bool maximized = false;
  bool resizable = false;  // by the user: it has a frame, and a range of sizes
};
// What is left of `windows` when the others are left out, in the same order. All is
// asked before the first answer is taken, in portions that a socket holds.
std::vector<X11Window> ReadWindows(X11Connection& connection, const X11Atoms& atoms,
                                   const std::vector<xcb_window_t>& windows);

// UTF-8, empty when it has none.
std::string WindowTitle(X11Connection& connection, const X11Atoms& atoms, xcb_window_t window);

// Neither unmapped, minimised, without a picture of its own, nor gone. A window
// that others cover is shown.
bool IsWindowShown(X11Connection& connection, const X11Atoms& atoms, xcb_window_t window);

// The window that has the user's attention.
struct ActiveWindow {
  xcb_window_t window = 0;  // 0: none has
  bool announced = false;   // a window manager says so, and will say when it changes
};
ActiveWindow FindActiveWindow(X11Connection& connection, const X11Atoms& atoms);

// The window itself and the windows that it belongs to, nearest first.
std::vector<xcb_window_t> WithOwners(X11Connection& connection, xcb_window_t window);

}  // namespace orventa
