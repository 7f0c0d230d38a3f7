#include "video/video_linux/x11_windows.h"

#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "base/text.h"

namespace orventa {
namespace {

constexpr uint32_t kMaxTitleWords = 256;  // four bytes each
constexpr uint32_t kMaxListedWindows = 4096;
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

// The 32-bit words of a property; none when it is of another kind.
std::vector<uint32_t> TakeWords(X11Connection& connection, xcb_get_property_cookie_t cookie) {
  const auto reply = connection.Await<xcb_get_property_reply_t>(cookie);
  if (reply == nullptr || reply->format != 32) return {};
  std::vector<uint32_t> words(static_cast<size_t>(xcb_get_property_value_length(reply.get())) / 4);
  if (!words.empty()) {
    std::memcpy(words.data(), xcb_get_property_value(reply.get()), words.size() * 4);
  }
  return words;
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

std::string TakeText(X11Connection& connection, const X11Atoms& atoms,
                     xcb_get_property_cookie_t cookie) {
  const auto reply = connection.Await<xcb_get_property_reply_t>(cookie);
  if (reply == nullptr || reply->format != 8) return {};
  std::string_view text(static_cast<const char*>(xcb_get_property_value(reply.get())),
                        static_cast<size_t>(xcb_get_property_value_length(reply.get())));
  text = text.substr(0, text.find('\0'));
  if (reply->bytes_after > 0) text = CutUtf8(text, text.size() - 1);
  if (reply->type == atoms.utf8_string && IsValidUtf8(text)) return std::string(text);
  return Latin1ToUtf8(text);
}

std::vector<xcb_window_t> Children(X11Connection& connection, xcb_window_t window) {
  const auto tree =
      connection.Await<xcb_query_tree_reply_t>(xcb_query_tree(connection.xcb(), window));
  if (tree == nullptr) return {};
  const xcb_window_t* first = xcb_query_tree_children(tree.get());
  return {first, first + xcb_query_tree_children_length(tree.get())};
}

// A window manager marks a program's window with WM_STATE, wherever in its frame
// it lies. 0 when there is none within the depth and the number of looks left.
xcb_window_t MarkedWindow(X11Connection& connection, const X11Atoms& atoms, xcb_window_t window,
                          int depth, int& looks) {
  if (looks-- == 0) return 0;
  if (!Words(connection, window, atoms.wm_state, 1).empty()) return window;
  if (depth == 0) return 0;
  for (const xcb_window_t child : Children(connection, window)) {
    const xcb_window_t found = MarkedWindow(connection, atoms, child, depth - 1, looks);
    if (found != 0 || looks <= 0) return found;
  }
  return 0;
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

xcb_window_t ClientOf(X11Connection& connection, const X11Atoms& atoms, xcb_window_t top_level) {
  int looks = kMaxLooksInFrame;
  const xcb_window_t marked = MarkedWindow(connection, atoms, top_level, kMaxFrameDepth, looks);
  return marked != 0 ? marked : top_level;
}

}  // namespace

X11Atoms::X11Atoms(X11Connection& connection)
    : utf8_string(connection.Atom("UTF8_STRING")),
      wm_state(connection.Atom("WM_STATE")),
      net_wm_name(connection.Atom("_NET_WM_NAME")),
      net_wm_pid(connection.Atom("_NET_WM_PID")),
      net_wm_state(connection.Atom("_NET_WM_STATE")),
      net_wm_state_hidden(connection.Atom("_NET_WM_STATE_HIDDEN")),
      net_active_window(connection.Atom("_NET_ACTIVE_WINDOW")),
      net_client_list_stacking(connection.Atom("_NET_CLIENT_LIST_STACKING")) {}

std::vector<xcb_window_t> ClientWindows(X11Connection& connection, const X11Atoms& atoms) {
  std::vector<xcb_window_t> windows =
      Words(connection, connection.root(), atoms.net_client_list_stacking, kMaxListedWindows);
  if (windows.empty()) {
    windows = Children(connection, connection.root());
    for (xcb_window_t& window : windows) window = ClientOf(connection, atoms, window);
  }
  std::reverse(windows.begin(), windows.end());  // both lists begin at the bottom
  return windows;
}

std::vector<std::string> WindowTitles(X11Connection& connection, const X11Atoms& atoms,
                                      const std::vector<xcb_window_t>& windows) {
  std::vector<xcb_get_property_cookie_t> asked;
  for (const xcb_window_t window : windows) {
    asked.push_back(AskProperty(connection, window, atoms.net_wm_name, kMaxTitleWords));
    asked.push_back(AskProperty(connection, window, XCB_ATOM_WM_NAME, kMaxTitleWords));
  }
  std::vector<std::string> titles;
  for (size_t i = 0; i < windows.size(); ++i) {
    std::string title = TakeText(connection, atoms, asked[2 * i]);
    std::string old_kind = TakeText(connection, atoms, asked[2 * i + 1]);
    titles.push_back(title.empty() ? std::move(old_kind) : std::move(title));
  }
  return titles;
}

bool IsWindowShown(X11Connection& connection, const X11Atoms& atoms, xcb_window_t window) {
  const auto attributes_asked = xcb_get_window_attributes(connection.xcb(), window);
  const auto state_asked = AskProperty(connection, window, atoms.wm_state, 1);
  const auto states_asked = AskProperty(connection, window, atoms.net_wm_state, 64);
  const auto attributes = connection.Await<xcb_get_window_attributes_reply_t>(attributes_asked);
  const std::vector<uint32_t> state = TakeWords(connection, state_asked);
  const std::vector<uint32_t> states = TakeWords(connection, states_asked);
  if (attributes == nullptr || attributes->map_state != XCB_MAP_STATE_VIEWABLE) return false;
  if (attributes->_class == XCB_WINDOW_CLASS_INPUT_ONLY) return false;
  if (!state.empty() && state.front() == kIconicState) return false;
  return std::find(states.begin(), states.end(), atoms.net_wm_state_hidden) == states.end();
}

std::string WindowProgram(X11Connection& connection, const X11Atoms& atoms, xcb_window_t window) {
  const uint32_t pid = FirstWord(connection, window, atoms.net_wm_pid);
  if (pid == 0) return {};
  char path[PATH_MAX];
  const ssize_t length = readlink(Format("/proc/%u/exe", pid).c_str(), path, sizeof path);
  if (length <= 0 || static_cast<size_t>(length) >= sizeof path) return {};
  std::string_view text(path, static_cast<size_t>(length));
  constexpr std::string_view kDeleted = " (deleted)";  // replaced while it runs
  if (text.ends_with(kDeleted)) text.remove_suffix(kDeleted.size());
  return std::string(text);
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
  const xcb_window_t top_level = TopLevelOf(connection, focus->focus);
  return {top_level != 0 ? ClientOf(connection, atoms, top_level) : 0, false};
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
