#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>
#include <xcb/xcb.h>

#include "Processes/ProcessSupport.h"

namespace halcyra::test {

/// A display server of the benchmark's own, without a window manager, and what a user or the desktop does on it.
class DisplayServer {
 public:
  /// Key codes of the server's keyboard.
  static constexpr xcb_keycode_t tabKey = 23;
  static constexpr xcb_keycode_t qKey = 24;
  static constexpr xcb_keycode_t spaceKey = 65;

  DisplayServer();
  ~DisplayServer();
  DisplayServer(const DisplayServer&) = delete;
  DisplayServer& operator=(const DisplayServer&) = delete;

  /// As DISPLAY names it.
  const std::string& name() const { return name_; }
  /// As by SIGKILL; returns when it is gone.
  void kill();

  /// From now on the desktop has a place for tray icons. To be called before the application starts.
  void hostTray();
  /// The icon that the application has put there.
  std::optional<xcb_window_t> trayIcon();
  /// The window that has this title and is shown.
  std::optional<xcb_window_t> window(const std::string& title);
  /// Every top-level window that is shown, whatever its title.
  std::vector<xcb_window_t> shownWindows();
  std::string title(xcb_window_t window);
  /// Pixels.
  int height(xcb_window_t window);
  int width(xcb_window_t window);
  /// Whether something has been painted into it: more than one colour.
  bool isPainted(xcb_window_t window);
  /// Asks the application to close it, as the window's own button does.
  void requestClose(xcb_window_t window);
  void pressKey(xcb_window_t window, xcb_keycode_t key, std::uint16_t modifiers = 0);
  void click(xcb_window_t window, std::int16_t x, std::int16_t y);

 private:
  xcb_atom_t atom(const std::string& name);
  void send(xcb_window_t window, const char* event, std::uint32_t mask);

  ChildProcess process_;
  std::string name_;
  xcb_connection_t* connection_ = nullptr;
  xcb_window_t root_ = XCB_WINDOW_NONE;
  xcb_window_t tray_ = XCB_WINDOW_NONE;
  std::optional<xcb_window_t> icon_;
};

}  // namespace halcyra::test
