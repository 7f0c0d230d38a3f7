#include "video/video_linux/x11_windows.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "base/text.h"

namespace orventa {
namespace {

constexpr uint32_t kMaxTextWords = 256;  // four bytes each
constexpr uint32_t kMaxListedWindows = 4096;
constexpr size_t kMaxClassCharacters = 128;
// A server that stops reading leaves us in a write for as long as it likes, so no
// more is asked at a time than a socket takes without it.
constexpr size_t kWindowsAtATime = 256;
constexpr uint32_t kEveryDesktop = 0xFFFFFFFF;
constexpr int kMaxFrameDepth = 4;     // frames around a program's window
constexpr int kMaxLooksInFrame = 32;  // a program without a manager may have many inner windows
constexpr int kMaxOwners = 8;         // a cycle of owners must end somewhere
constexpr uint32_t kIconicState = 3;

// Asking and taking the answer are two steps, so that several questions travel
// together: a busy server makes every trip a long one.
xcb_get_property_cookie_t AskProperty(X11Connection& connection, xcb_window_t window,
                                      xcb_atom_t property, uint32_t max_words) {
  return xcb_get_property(connection.xcb(), 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0,
                          max_words);
}

// The 32-bit words of a property; none when it is of another kind or not there.
std::vector<uint32_t> WordsOf(const xcb_get_property_reply_t* reply) {
  if (reply == nullptr || reply->format != 32) return {};
  std::vector<uint32_t> words(static_cast<size_t>(xcb_get_property_value_length(reply)) / 4);
  if (!words.empty()) {
    std::memcpy(words.data(), xcb_get_property_value(reply), words.size() * 4);
  }
  return words;
}

std::vector<uint32_t> TakeWords(X11Connection& connection, xcb_get_property_cookie_t cookie) {
  return WordsOf(connection.Await<xcb_get_property_reply_t>(cookie).get());
}

// Likewise its bytes.
std::string_view BytesOf(const xcb_get_property_reply_t* reply) {
  if (reply == nullptr || reply->format != 8) return {};
  return {static_cast<const char*>(xcb_get_property_value(reply)),
          static_cast<size_t>(xcb_get_property_value_length(reply))};
}

std::vector<uint32_t> Words(X11Connection& connection, xcb_window_t window, xcb_atom_t property,
                            uint32_t max_words) {
  return TakeWords(connection, AskProperty(connection, window, property, max_words));
}

uint32_t FirstWord(X11Connection& connection, xcb_window_t window, xcb_atom_t property) {
  const std::vector<uint32_t> words = Words(connection, window, property, 1);
  return words.empty() ? 0 : words.front();
}

std::string Latin1ToUtf8(std::string_view text) {
  std::string out;
  for (const char c : text) {
    const auto code = static_cast<uint8_t>(c);
    if (code < 0x80) {
      out.push_back(c);
    } else {
      out.push_back(static_cast<char>(0xC0 | (code >> 6)));
      out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
  }
  return out;
}

std::string TextOf(const xcb_get_property_reply_t* reply, const X11Atoms& atoms) {
  std::string_view text = BytesOf(reply);
  if (text.empty()) return {};
  text = text.substr(0, text.find('\0'));
  if (reply->bytes_after > 0) text = CutUtf8(text, text.size() - 1);
  if (reply->type == atoms.utf8_string && IsValidUtf8(text)) return std::string(text);
  return Latin1ToUtf8(text);
}

std::vector<xcb_window_t> TakeChildren(X11Connection& connection, xcb_query_tree_cookie_t cookie) {
  const auto tree = connection.Await<xcb_query_tree_reply_t>(cookie);
  if (tree == nullptr) return {};
  const xcb_window_t* first = xcb_query_tree_children(tree.get());
  return {first, first + xcb_query_tree_children_length(tree.get())};
}

// A window manager marks a program's window with WM_STATE, wherever in its frame it
// lies. Takes each top-level window's place in `windows` when there is one within the
// depth and the number of looks; all frames are searched a level at a time.
void FindMarkedWindows(X11Connection& connection, const X11Atoms& atoms,
                       std::vector<xcb_window_t>& windows) {
  struct Look {
    size_t top_level = 0;
    xcb_window_t window = 0;
    xcb_get_property_cookie_t marked = {};
    xcb_query_tree_cookie_t inside = {};
  };
  std::vector<Look> level;
  for (size_t i = 0; i < windows.size(); ++i)
    level.push_back({.top_level = i, .window = windows[i]});
  std::vector<int> looks_left(windows.size(), kMaxLooksInFrame);
  std::vector<bool> found(windows.size());

  for (int depth = 0; depth <= kMaxFrameDepth && !level.empty(); ++depth) {
    for (Look& look : level) {
      look.marked = AskProperty(connection, look.window, atoms.wm_state, 1);
      look.inside = xcb_query_tree(connection.xcb(), look.window);
    }
    std::vector<Look> next;
    for (const Look& look : level) {
      const bool marked = !TakeWords(connection, look.marked).empty();
      const std::vector<xcb_window_t> inside = TakeChildren(connection, look.inside);
      if (found[look.top_level]) continue;
      if (marked) {
        windows[look.top_level] = look.window;
        found[look.top_level] = true;
        continue;
      }
      for (const xcb_window_t child : inside) {
        if (looks_left[look.top_level]-- <= 0) break;
        next.push_back({.top_level = look.top_level, .window = child});
      }
    }
    level = std::move(next);
  }
}

xcb_window_t TopLevelOf(X11Connection& connection, xcb_window_t window) {
  for (int depth = 0; depth < 16; ++depth) {
    const auto tree =
        connection.Await<xcb_query_tree_reply_t>(xcb_query_tree(connection.xcb(), window));
    if (tree == nullptr) return 0;
    if (tree->parent == tree->root || tree->parent == 0) return window;
    window = tree->parent;
  }
  return window;
}

// What is asked of each window, with the most words that are read of it.
enum Property : size_t {
  kState,
  kStates,
  kName,
  kOldName,
  kClass,
  kPid,
  kSizeHints,
  kDecorations,
  kOwnFrame,
  kFrame,
  kType,
  kDesktop,
  kProperties
};
struct PropertyRow {
  xcb_atom_t atom;
  uint32_t max_words;
};
std::array<PropertyRow, kProperties> PropertyRows(const X11Atoms& atoms) {
  return {{{atoms.wm_state, 1},
           {atoms.net_wm_state, 64},
           {atoms.net_wm_name, kMaxTextWords},
           {XCB_ATOM_WM_NAME, kMaxTextWords},
           {XCB_ATOM_WM_CLASS, kMaxTextWords},
           {atoms.net_wm_pid, 1},
           {XCB_ATOM_WM_NORMAL_HINTS, 18},
           {atoms.motif_wm_hints, 5},
           {atoms.gtk_frame_extents, 4},
           {atoms.net_frame_extents, 4},
           {atoms.net_wm_window_type, 16},
           {atoms.net_wm_desktop, 1}}};
}

struct AskedWindow {
  xcb_window_t window = 0;
  xcb_get_window_attributes_cookie_t attributes = {};
  xcb_get_geometry_cookie_t geometry = {};
  xcb_translate_coordinates_cookie_t place = {};
  std::array<xcb_get_property_cookie_t, kProperties> properties = {};
};

AskedWindow Ask(X11Connection& connection, const std::array<PropertyRow, kProperties>& rows,
                xcb_window_t window) {
  xcb_connection_t* const xcb = connection.xcb();
  AskedWindow asked{.window = window,
                    .attributes = xcb_get_window_attributes(xcb, window),
                    .geometry = xcb_get_geometry(xcb, window),
                    .place = xcb_translate_coordinates(xcb, window, connection.root(), 0, 0)};
  for (size_t i = 0; i < kProperties; ++i) {
    asked.properties[i] = AskProperty(connection, window, rows[i].atom, rows[i].max_words);
  }
  return asked;
}

bool Holds(const std::vector<uint32_t>& words, uint32_t word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool IsShown(const X11Atoms& atoms, const xcb_get_window_attributes_reply_t* attributes,
             const std::vector<uint32_t>& state, const std::vector<uint32_t>& states) {
  return attributes != nullptr && attributes->map_state == XCB_MAP_STATE_VIEWABLE &&
         attributes->_class != XCB_WINDOW_CLASS_INPUT_ONLY &&
         (state.empty() || state.front() != kIconicState) &&
         !Holds(states, atoms.net_wm_state_hidden);
}

// WM_CLASS holds two names. The first may be given anew at each start; the second is
// the program's own, which users and lists know it by.
std::string ClassOf(std::string_view wm_class) {
  const size_t first_end = wm_class.find('\0');
  if (first_end == std::string_view::npos)
    return Latin1ToUtf8(wm_class.substr(0, kMaxClassCharacters));
  std::string_view second = wm_class.substr(first_end + 1);
  second = second.substr(0, second.find('\0'));
  return Latin1ToUtf8(second.substr(0, kMaxClassCharacters));
}

// Whether least and greatest size are given and the same.
bool HasOneSize(const std::vector<uint32_t>& hints) {
  constexpr uint32_t kMinAndMaxSize = 1U << 4U | 1U << 5U;
  return hints.size() >= 9 && (hints[0] & kMinAndMaxSize) == kMinAndMaxSize &&
         hints[5] == hints[7] && hints[6] == hints[8];
}

// Whether the window asked for no frame. One that draws a frame of its own asks that,
// too, and is no less a window with a frame to the user.
bool IsBare(const std::vector<uint32_t>& motif_hints, const std::vector<uint32_t>& own_frame) {
  constexpr uint32_t kDecorationsGiven = 1U << 1U;
  return motif_hints.size() >= 3 && (motif_hints[0] & kDecorationsGiven) != 0 &&
         motif_hints[2] == 0 && own_frame.empty();
}

DesktopRect WithFrame(DesktopRect client, const std::vector<uint32_t>& extents) {
  if (extents.size() < 4) return client;
  const auto extent = [&](size_t i) {  // left, right, top, bottom
    return static_cast<int32_t>(std::min<uint32_t>(extents[i], 1024));
  };
  return {client.left - extent(0), client.top - extent(2), client.right + extent(1),
          client.bottom + extent(3)};
}

// Takes one window's answers, all of them, so that none is left in the connection.
// False: it is left out.
bool Take(X11Connection& connection, const X11Atoms& atoms, uint32_t desktop_in_view,
          const AskedWindow& asked, X11Window& out) {
  const auto attributes = connection.Await<xcb_get_window_attributes_reply_t>(asked.attributes);
  const auto geometry = connection.Await<xcb_get_geometry_reply_t>(asked.geometry);
  const auto place = connection.Await<xcb_translate_coordinates_reply_t>(asked.place);
  std::array<XReply<xcb_get_property_reply_t>, kProperties> replies;
  for (size_t i = 0; i < kProperties; ++i) {
    replies[i] = connection.Await<xcb_get_property_reply_t>(asked.properties[i]);
  }
  const auto words = [&](Property property) { return WordsOf(replies[property].get()); };

  const std::vector<uint32_t> state = words(kState);
  const std::vector<uint32_t> states = words(kStates);
  if (!IsShown(atoms, attributes.get(), state, states)) return false;
  if (geometry == nullptr || place == nullptr || geometry->width < 1 || geometry->height < 1) {
    return false;
  }
  if (Holds(states, atoms.net_wm_state_skip_taskbar)) return false;
  // A window says what it is in the order of what it would like best.
  const std::vector<uint32_t> type = words(kType);
  for (const xcb_atom_t aside :
       {atoms.net_wm_window_type_desktop, atoms.net_wm_window_type_dock,
        atoms.net_wm_window_type_utility, atoms.net_wm_window_type_notification}) {
    if (!type.empty() && type.front() == aside) return false;
  }
  const std::vector<uint32_t> desktop = words(kDesktop);
  if (!desktop.empty() && desktop.front() != kEveryDesktop && desktop_in_view != kEveryDesktop &&
      desktop.front() != desktop_in_view) {
    return false;
  }
  out.title = TextOf(replies[kName].get(), atoms);
  if (out.title.empty()) out.title = TextOf(replies[kOldName].get(), atoms);
  if (out.title.empty()) return false;

  out.window = asked.window;
  out.window_class = ClassOf(BytesOf(replies[kClass].get()));
  const std::vector<uint32_t> pid = words(kPid);
  out.pid = pid.empty() ? 0 : pid.front();
  out.client_width = geometry->width;
  out.client_height = geometry->height;
  out.frame = WithFrame(
      {place->dst_x, place->dst_y, place->dst_x + geometry->width, place->dst_y + geometry->height},
      words(kFrame));
  // A full-screen window may keep the states that it had before and will have again.
  const bool full_screen = Holds(states, atoms.net_wm_state_fullscreen);
  out.maximized = !full_screen && Holds(states, atoms.net_wm_state_maximized_horz) &&
                  Holds(states, atoms.net_wm_state_maximized_vert);
  // Without a manager there is nobody to draw frames.
  const bool managed = !state.empty() && attributes->override_redirect == 0;
  out.resizable = managed && !full_screen && !HasOneSize(words(kSizeHints)) &&
                  !IsBare(words(kDecorations), words(kOwnFrame));
  return true;
}

}  // namespace

X11Atoms::X11Atoms(X11Connection& connection)
    : utf8_string(connection.Atom("UTF8_STRING")),
      wm_state(connection.Atom("WM_STATE")),
      net_wm_name(connection.Atom("_NET_WM_NAME")),
      net_wm_pid(connection.Atom("_NET_WM_PID")),
      net_wm_state(connection.Atom("_NET_WM_STATE")),
      net_wm_state_hidden(connection.Atom("_NET_WM_STATE_HIDDEN")),
      net_wm_state_fullscreen(connection.Atom("_NET_WM_STATE_FULLSCREEN")),
      net_wm_state_maximized_horz(connection.Atom("_NET_WM_STATE_MAXIMIZED_HORZ")),
      net_wm_state_maximized_vert(connection.Atom("_NET_WM_STATE_MAXIMIZED_VERT")),
      net_wm_state_skip_taskbar(connection.Atom("_NET_WM_STATE_SKIP_TASKBAR")),
      net_wm_window_type(connection.Atom("_NET_WM_WINDOW_TYPE")),
      net_wm_window_type_desktop(connection.Atom("_NET_WM_WINDOW_TYPE_DESKTOP")),
      net_wm_window_type_dock(connection.Atom("_NET_WM_WINDOW_TYPE_DOCK")),
      net_wm_window_type_utility(connection.Atom("_NET_WM_WINDOW_TYPE_UTILITY")),
      net_wm_window_type_notification(connection.Atom("_NET_WM_WINDOW_TYPE_NOTIFICATION")),
      net_wm_desktop(connection.Atom("_NET_WM_DESKTOP")),
      net_frame_extents(connection.Atom("_NET_FRAME_EXTENTS")),
      gtk_frame_extents(connection.Atom("_GTK_FRAME_EXTENTS")),
      motif_wm_hints(connection.Atom("_MOTIF_WM_HINTS")),
      net_active_window(connection.Atom("_NET_ACTIVE_WINDOW")),
      net_current_desktop(connection.Atom("_NET_CURRENT_DESKTOP")),
      net_client_list_stacking(connection.Atom("_NET_CLIENT_LIST_STACKING")) {}

std::vector<xcb_window_t> ClientWindows(X11Connection& connection, const X11Atoms& atoms) {
  const auto list_asked =
      AskProperty(connection, connection.root(), atoms.net_client_list_stacking, kMaxListedWindows);
  const auto inside_asked = xcb_query_tree(connection.xcb(), connection.root());
  const auto list = connection.Await<xcb_get_property_reply_t>(list_asked);
  const std::vector<xcb_window_t> inside = TakeChildren(connection, inside_asked);
  std::vector<xcb_window_t> windows = WordsOf(list.get());
  // A manager's empty list says that there are no windows; none says nothing.
  if (list != nullptr && list->type == XCB_ATOM_NONE) {
    const size_t spare = inside.size() - std::min<size_t>(inside.size(), kMaxListedWindows);
    windows.assign(inside.begin() + static_cast<ptrdiff_t>(spare), inside.end());
    FindMarkedWindows(connection, atoms, windows);
  }
  std::reverse(windows.begin(), windows.end());  // both lists begin at the bottom
  return windows;
}

std::vector<X11Window> ReadWindows(X11Connection& connection, const X11Atoms& atoms,
                                   const std::vector<xcb_window_t>& windows) {
  if (windows.empty()) return {};
  const auto desktop_asked =
      AskProperty(connection, connection.root(), atoms.net_current_desktop, 1);
  const std::array<PropertyRow, kProperties> rows = PropertyRows(atoms);
  std::vector<X11Window> out;
  std::vector<AskedWindow> asked;
  std::optional<uint32_t> desktop_in_view;
  for (size_t at = 0; at < windows.size(); at += kWindowsAtATime) {
    asked.clear();
    for (const xcb_window_t window :
         std::span(windows).subspan(at).first(std::min(kWindowsAtATime, windows.size() - at))) {
      asked.push_back(Ask(connection, rows, window));
    }
    if (!desktop_in_view) {
      const std::vector<uint32_t> word = TakeWords(connection, desktop_asked);
      desktop_in_view = word.empty() ? kEveryDesktop : word.front();
    }
    for (const AskedWindow& window : asked) {
      X11Window row;
      if (Take(connection, atoms, *desktop_in_view, window, row)) out.push_back(std::move(row));
    }
  }
  return out;
}

std::string WindowTitle(X11Connection& connection, const X11Atoms& atoms, xcb_window_t window) {
  const auto name_asked = AskProperty(connection, window, atoms.net_wm_name, kMaxTextWords);
  const auto old_asked = AskProperty(connection, window, XCB_ATOM_WM_NAME, kMaxTextWords);
  const auto name = connection.Await<xcb_get_property_reply_t>(name_asked);
  const auto old_name = connection.Await<xcb_get_property_reply_t>(old_asked);
  std::string title = TextOf(name.get(), atoms);
  return title.empty() ? TextOf(old_name.get(), atoms) : title;
}

bool IsWindowShown(X11Connection& connection, const X11Atoms& atoms, xcb_window_t window) {
  const auto attributes_asked = xcb_get_window_attributes(connection.xcb(), window);
  const auto state_asked = AskProperty(connection, window, atoms.wm_state, 1);
  const auto states_asked = AskProperty(connection, window, atoms.net_wm_state, 64);
  const auto attributes = connection.Await<xcb_get_window_attributes_reply_t>(attributes_asked);
  const std::vector<uint32_t> state = TakeWords(connection, state_asked);
  return IsShown(atoms, attributes.get(), state, TakeWords(connection, states_asked));
}

ActiveWindow FindActiveWindow(X11Connection& connection, const X11Atoms& atoms) {
  const std::vector<uint32_t> active =
      Words(connection, connection.root(), atoms.net_active_window, 1);
  if (!active.empty()) return {active.front(), true};

  const auto focus =
      connection.Await<xcb_get_input_focus_reply_t>(xcb_get_input_focus(connection.xcb()));
  if (focus == nullptr || focus->focus <= XCB_INPUT_FOCUS_POINTER_ROOT ||
      focus->focus == connection.root()) {
    return {};
  }
  std::vector<xcb_window_t> window = {TopLevelOf(connection, focus->focus)};
  if (window.front() != 0) FindMarkedWindows(connection, atoms, window);
  return {window.front(), false};
}

std::vector<xcb_window_t> WithOwners(X11Connection& connection, xcb_window_t window) {
  std::vector<xcb_window_t> windows;
  for (int i = 0; i < kMaxOwners && window != 0 && window != connection.root(); ++i) {
    windows.push_back(window);
    window = FirstWord(connection, window, XCB_ATOM_WM_TRANSIENT_FOR);
  }
  return windows;
}

}  // namespace orventa
