#include "support_linux/x11_painter.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace orventa {
namespace {

uint16_t Channel16(uint32_t colour, int shift) {
  return static_cast<uint16_t>(((colour >> shift) & 0xFF) * 257);
}

}  // namespace

X11Painter::X11Painter() : connection_(xcb_connect(nullptr, nullptr)) {
  if (xcb_connection_has_error(connection_) != 0) {
    xcb_disconnect(connection_);
    throw std::runtime_error("no X server to draw on");
  }
  screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
  pen_ = xcb_generate_id(connection_);
  // Onto the windows that lie on the root, too.
  const uint32_t mode = XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS;
  xcb_create_gc(connection_, pen_, screen_->root, XCB_GC_SUBWINDOW_MODE, &mode);
  Sync();
}

X11Painter::~X11Painter() {
  xcb_disconnect(connection_);
}

xcb_window_t X11Painter::MakeWindow(Area area, uint32_t colour, uint16_t border,
                                    xcb_window_t parent) {
  const xcb_window_t window = xcb_generate_id(connection_);
  const uint32_t values[] = {colour, 0xFF00FF};  // background, border
  xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, parent != 0 ? parent : screen_->root,
                    area.x, area.y, area.width, area.height, border, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                    XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL, values);
  Map(window);
  return window;
}

void X11Painter::Fill(xcb_window_t window, Area area, uint32_t colour) {
  xcb_change_gc(connection_, pen_, XCB_GC_FOREGROUND, &colour);
  const xcb_rectangle_t rectangle = {area.x, area.y, area.width, area.height};
  xcb_poly_fill_rectangle(connection_, window, pen_, 1, &rectangle);
  Sync();
}

void X11Painter::Map(xcb_window_t window) {
  xcb_map_window(connection_, window);
  Sync();
}

void X11Painter::Unmap(xcb_window_t window) {
  xcb_unmap_window(connection_, window);
  Sync();
}

void X11Painter::Destroy(xcb_window_t window) {
  xcb_destroy_window(connection_, window);
  Sync();
}

void X11Painter::Resize(xcb_window_t window, uint16_t width, uint16_t height) {
  const uint32_t values[] = {width, height};
  xcb_configure_window(connection_, window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                       values);
  Sync();
}

void X11Painter::SetBackground(xcb_window_t window, uint32_t colour) {
  xcb_change_window_attributes(connection_, window, XCB_CW_BACK_PIXEL, &colour);
  Sync();
}

void X11Painter::SetTitle(xcb_window_t window, const std::string& utf8) {
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, Atom("_NET_WM_NAME"),
                      Atom("UTF8_STRING"), 8, static_cast<uint32_t>(utf8.size()), utf8.data());
  Sync();
}

void X11Painter::SetText(xcb_window_t window, const char* property, const std::string& bytes) {
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, Atom(property), XCB_ATOM_STRING,
                      8, static_cast<uint32_t>(bytes.size()), bytes.data());
  Sync();
}

void X11Painter::SetWord(xcb_window_t window, const char* property, const char* type,
                         uint32_t word) {
  SetWords(window, property, type, {word});
}

void X11Painter::SetWords(xcb_window_t window, const char* property, const char* type,
                          const std::vector<uint32_t>& words) {
  xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, window, Atom(property), Atom(type), 32,
                      static_cast<uint32_t>(words.size()), words.data());
  Sync();
}

void X11Painter::AskManager(xcb_window_t window, const char* message,
                            const std::vector<uint32_t>& words) {
  xcb_client_message_event_t event = {};
  event.response_type = XCB_CLIENT_MESSAGE;
  event.format = 32;
  event.window = window;
  event.type = Atom(message);
  std::copy_n(words.begin(), std::min<size_t>(words.size(), 5), event.data.data32);
  xcb_send_event(connection_, 0, root(),
                 XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                 reinterpret_cast<const char*>(&event));
  Sync();
}

void X11Painter::SetAtoms(xcb_window_t window, const char* property, const char* atom) {
  SetWord(window, property, "ATOM", Atom(atom));
}

void X11Painter::RemoveProperty(xcb_window_t window, const char* property) {
  xcb_delete_property(connection_, window, Atom(property));
  Sync();
}

bool X11Painter::HasProperty(xcb_window_t window, const char* property) {
  auto* reply = xcb_get_property_reply(
      connection_,
      xcb_get_property(connection_, 0, window, Atom(property), XCB_GET_PROPERTY_TYPE_ANY, 0, 0),
      nullptr);
  const bool has = reply != nullptr && reply->type != XCB_ATOM_NONE;
  std::free(reply);
  return has;
}

void X11Painter::Focus(xcb_window_t window) {
  xcb_set_input_focus(connection_, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
  Sync();
}

void X11Painter::MovePointer(int16_t x, int16_t y) {
  xcb_warp_pointer(connection_, 0, screen_->root, 0, 0, 0, 0, x, y);
  Sync();
}

void X11Painter::SetSquareCursor(xcb_window_t window, uint16_t side, uint32_t colour) {
  const xcb_pixmap_t bits = xcb_generate_id(connection_);
  xcb_create_pixmap(connection_, 1, bits, screen_->root, side, side);
  const xcb_gcontext_t gc = xcb_generate_id(connection_);
  const uint32_t one = 1;
  xcb_create_gc(connection_, gc, bits, XCB_GC_FOREGROUND, &one);
  const xcb_rectangle_t all = {0, 0, side, side};
  xcb_poly_fill_rectangle(connection_, bits, gc, 1, &all);
  const xcb_cursor_t cursor = xcb_generate_id(connection_);
  const uint16_t red = Channel16(colour, 16);
  const uint16_t green = Channel16(colour, 8);
  const uint16_t blue = Channel16(colour, 0);
  xcb_create_cursor(connection_, cursor, bits, bits, red, green, blue, red, green, blue, 0, 0);
  xcb_change_window_attributes(connection_, window, XCB_CW_CURSOR, &cursor);
  xcb_free_pixmap(connection_, bits);
  xcb_free_gc(connection_, gc);
  Sync();
}

xcb_atom_t X11Painter::Atom(const char* name) {
  auto* reply = xcb_intern_atom_reply(
      connection_, xcb_intern_atom(connection_, 0, static_cast<uint16_t>(std::strlen(name)), name),
      nullptr);
  if (reply == nullptr) throw std::runtime_error("the X server is gone");
  const xcb_atom_t atom = reply->atom;
  std::free(reply);
  return atom;
}

void X11Painter::Sync() {
  std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
}

}  // namespace orventa
