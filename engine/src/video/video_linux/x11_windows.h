// What the server and /proc tell of windows: which are on top, how they are
// called, how they stand and which program they belong to. Windows come and go
// between two questions; a window that is gone answers as an empty row. Used by
// X11Targets, on its thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "video/video_linux/x11_connection.h"

namespace orventa {

// The names of properties, as this server numbers them.
struct X11Atoms {
  explicit X11Atoms(X11Connection& connection);

  xcb_atom_t utf8_string;
  xcb_atom_t wm_state;
  xcb_atom_t net_wm_name;
  xcb_atom_t net_wm_pid;
  xcb_atom_t net_wm_state;
  xcb_atom_t net_wm_state_hidden;
  xcb_atom_t net_active_window;
  xcb_atom_t net_client_list_stacking;
};

// Windows of programs, not the frames around them, topmost first.
std::vector<xcb_window_t> ClientWindows(X11Connection& connection, const X11Atoms& atoms);

// A row a window: UTF-8, empty when it has no title.
std::vector<std::string> WindowTitles(X11Connection& connection, const X11Atoms& atoms,
                                      const std::vector<xcb_window_t>& windows);

// Neither unmapped, minimised, without a picture of its own, nor gone. A window
// that others cover is shown.
bool IsWindowShown(X11Connection& connection, const X11Atoms& atoms, xcb_window_t window);

// The file of the program that the window belongs to; empty when unknown.
std::string WindowProgram(X11Connection& connection, const X11Atoms& atoms, xcb_window_t window);

// The window that has the user's attention.
struct ActiveWindow {
  xcb_window_t window = 0;  // 0: none has
  bool announced = false;   // a window manager says so, and will say when it changes
};
ActiveWindow FindActiveWindow(X11Connection& connection, const X11Atoms& atoms);

// The window itself and the windows that it belongs to, nearest first.
std::vector<xcb_window_t> WithOwners(X11Connection& connection, xcb_window_t window);

}  // namespace orventa
