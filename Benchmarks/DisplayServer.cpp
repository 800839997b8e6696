#ifdef AEROVANE_UI

#include "DisplayServer.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <signal.h>
#include <stdexcept>

namespace halcyra::test {

namespace {

constexpr std::uint32_t dockRequest = 0;
constexpr std::uint16_t traySize = 24;

template <typename Reply>
std::unique_ptr<Reply, decltype(&std::free)> own(Reply* reply) {
  return {reply, &std::free};
}

/// An event in the form in which the protocol carries it.
template <typename Event>
const char* bytes(const Event& event) {
  static_assert(sizeof(Event) == 32);
  return reinterpret_cast<const char*>(&event);
}

}  // namespace

DisplayServer::DisplayServer()
    : process_("/usr/bin/Xvfb", {"-displayfd", "1", "-screen", "0", "1400x1000x24", "-nolisten", "tcp"}) {
  const auto number = process_.readLine();
  if (!number) throw std::runtime_error("Xvfb did not start: " + process_.errors());
  name_ = ":" + *number;
  connection_ = xcb_connect(name_.c_str(), nullptr);
  if (xcb_connection_has_error(connection_) != 0) throw std::runtime_error("no connection to Xvfb");
  root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
}

DisplayServer::~DisplayServer() {
  xcb_disconnect(connection_);
}

void DisplayServer::kill() {
  process_.signal(SIGKILL);
  process_.wait();
}

xcb_atom_t DisplayServer::atom(const std::string& name) {
  const auto reply = own(xcb_intern_atom_reply(
      connection_, xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(name.size()), name.c_str()), nullptr));
  return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

void DisplayServer::hostTray() {
  tray_ = xcb_generate_id(connection_);
  xcb_create_window(connection_, XCB_COPY_FROM_PARENT, tray_, root_, 1300, 0, traySize, traySize, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
  xcb_map_window(connection_, tray_);
  xcb_set_selection_owner(connection_, tray_, atom("_NET_SYSTEM_TRAY_S0"), XCB_CURRENT_TIME);
  xcb_flush(connection_);
}

std::optional<xcb_window_t> DisplayServer::trayIcon() {
  const xcb_atom_t opcode = atom("_NET_SYSTEM_TRAY_OPCODE");
  while (const auto event = own(xcb_poll_for_event(connection_))) {
    if ((event->response_type & 0x7F) != XCB_CLIENT_MESSAGE) continue;
    const auto& message = *reinterpret_cast<const xcb_client_message_event_t*>(event.get());
    if (message.type != opcode || message.data.data32[1] != dockRequest) continue;
    icon_ = message.data.data32[2];
    xcb_reparent_window(connection_, *icon_, tray_, 0, 0);
    xcb_map_window(connection_, *icon_);
    xcb_flush(connection_);
  }
  if (!icon_) return std::nullopt;
  const auto attributes =
      own(xcb_get_window_attributes_reply(connection_, xcb_get_window_attributes(connection_, *icon_), nullptr));
  return attributes ? icon_ : std::nullopt;
}

std::vector<xcb_window_t> DisplayServer::shownWindows() {
  std::vector<xcb_window_t> result;
  const auto tree = own(xcb_query_tree_reply(connection_, xcb_query_tree(connection_, root_), nullptr));
  if (!tree) return result;
  const xcb_window_t* const children = xcb_query_tree_children(tree.get());
  for (int index = 0; index < xcb_query_tree_children_length(tree.get()); ++index) {
    const xcb_window_t each = children[index];
    const auto attributes =
        own(xcb_get_window_attributes_reply(connection_, xcb_get_window_attributes(connection_, each), nullptr));
    if (attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE && each != tray_) result.push_back(each);
  }
  return result;
}

std::string DisplayServer::title(xcb_window_t window) {
  const auto property = own(xcb_get_property_reply(
      connection_, xcb_get_property(connection_, 0, window, atom("_NET_WM_NAME"), XCB_ATOM_ANY, 0, 256), nullptr));
  if (!property) return {};
  return {static_cast<const char*>(xcb_get_property_value(property.get())),
          static_cast<std::size_t>(xcb_get_property_value_length(property.get()))};
}

std::optional<xcb_window_t> DisplayServer::window(const std::string& wanted) {
  for (const xcb_window_t each : shownWindows()) {
    if (title(each) == wanted) return each;
  }
  return std::nullopt;
}

int DisplayServer::width(xcb_window_t window) {
  const auto geometry = own(xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, window), nullptr));
  return geometry ? geometry->width : 0;
}

int DisplayServer::height(xcb_window_t window) {
  const auto geometry = own(xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, window), nullptr));
  return geometry ? geometry->height : 0;
}

bool DisplayServer::isPainted(xcb_window_t window) {
  constexpr std::uint16_t side = 200;
  const auto image = own(xcb_get_image_reply(
      connection_, xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window, 0, 0, side, side, ~0U), nullptr));
  if (!image) return false;
  const auto* const pixels = reinterpret_cast<const std::uint32_t*>(xcb_get_image_data(image.get()));
  return std::any_of(pixels, pixels + side * side, [&](std::uint32_t pixel) { return pixel != pixels[0]; });
}

void DisplayServer::send(xcb_window_t window, const char* event, std::uint32_t mask) {
  xcb_send_event(connection_, 0, window, mask, event);
  xcb_flush(connection_);
}

void DisplayServer::requestClose(xcb_window_t window) {
  xcb_client_message_event_t message{};
  message.response_type = XCB_CLIENT_MESSAGE;
  message.format = 32;
  message.window = window;
  message.type = atom("WM_PROTOCOLS");
  message.data.data32[0] = atom("WM_DELETE_WINDOW");
  send(window, bytes(message), XCB_EVENT_MASK_NO_EVENT);
}

void DisplayServer::pressKey(xcb_window_t window, xcb_keycode_t key, std::uint16_t modifiers) {
  for (const int type : {XCB_KEY_PRESS, XCB_KEY_RELEASE}) {
    xcb_key_press_event_t event{};
    event.response_type = static_cast<std::uint8_t>(type);
    event.detail = key;
    event.root = root_;
    event.event = window;
    event.state = modifiers;
    event.same_screen = 1;
    send(window, bytes(event), type == XCB_KEY_PRESS ? XCB_EVENT_MASK_KEY_PRESS : XCB_EVENT_MASK_KEY_RELEASE);
  }
}

void DisplayServer::click(xcb_window_t window, std::int16_t x, std::int16_t y) {
  for (const int type : {XCB_BUTTON_PRESS, XCB_BUTTON_RELEASE}) {
    xcb_button_press_event_t event{};
    event.response_type = static_cast<std::uint8_t>(type);
    event.detail = XCB_BUTTON_INDEX_1;
    event.root = root_;
    event.event = window;
    event.event_x = x;
    event.event_y = y;
    if (type == XCB_BUTTON_RELEASE) event.state = XCB_BUTTON_MASK_1;
    event.same_screen = 1;
    send(window, bytes(event), type == XCB_BUTTON_PRESS ? XCB_EVENT_MASK_BUTTON_PRESS : XCB_EVENT_MASK_BUTTON_RELEASE);
  }
}

}  // namespace halcyra::test

#endif
