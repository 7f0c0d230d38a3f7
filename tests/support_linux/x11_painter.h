// A client that makes windows, fills them with colours and moves the pointer:
// what the tests of capture look at. Every call returns once the server has done
// it. DISPLAY names the server.
#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <string>
#include <vector>

namespace orventa {

struct Area {
  int16_t x = 0;
  int16_t y = 0;
  uint16_t width = 0;
  uint16_t height = 0;
};

class X11Painter {
 public:
  X11Painter();
  ~X11Painter();
  X11Painter(const X11Painter&) = delete;
  X11Painter& operator=(const X11Painter&) = delete;

  xcb_window_t root() const { return screen_->root; }

  // A mapped window in one colour (0xRRGGBB), above all others. Parent 0: the root.
  xcb_window_t MakeWindow(Area area, uint32_t colour, uint16_t border = 0, xcb_window_t parent = 0);
  void Fill(xcb_window_t window, Area area, uint32_t colour);
  void Map(xcb_window_t window);
  void Unmap(xcb_window_t window);
  void Destroy(xcb_window_t window);
  void Resize(xcb_window_t window, uint16_t width, uint16_t height);
  // The colour that the server fills new parts of the window with.
  void SetBackground(xcb_window_t window, uint32_t colour);
  void SetTitle(xcb_window_t window, const std::string& utf8);
  void SetWord(xcb_window_t window, const char* property, const char* type, uint32_t word);
  void SetAtoms(xcb_window_t window, const char* property, const char* atom);
  void SetText(xcb_window_t window, const char* property, const std::string& bytes);
  void SetWords(xcb_window_t window, const char* property, const char* type,
                const std::vector<uint32_t>& words);
  // What a program asks its window manager for: a message to the root window.
  void AskManager(xcb_window_t window, const char* message, const std::vector<uint32_t>& words);
  void RemoveProperty(xcb_window_t window, const char* property);
  bool HasProperty(xcb_window_t window, const char* property);
  void Focus(xcb_window_t window);
  void MovePointer(int16_t x, int16_t y);
  // A pointer that is a filled square of this colour and points with its corner.
  void SetSquareCursor(xcb_window_t window, uint16_t side, uint32_t colour);
  xcb_atom_t Atom(const char* name);

 private:
  void Sync();

  xcb_connection_t* connection_;
  xcb_screen_t* screen_ = nullptr;
  xcb_gcontext_t pen_ = 0;
};

}  // namespace orventa
