#include "UI/Compositor.h"

#include <QGuiApplication>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <xcb/xcb.h>

namespace halcyra {

namespace {

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};

/// The compositing manager of the first screen owns this selection.
constexpr std::string_view selectionName = "_NET_WM_CM_S0";

bool hasCompositor(xcb_connection_t* connection) {
  const std::unique_ptr<xcb_intern_atom_reply_t, Free> atom(xcb_intern_atom_reply(
      connection,
      xcb_intern_atom(connection, 1, static_cast<std::uint16_t>(selectionName.size()), selectionName.data()), nullptr));
  if (!atom || atom->atom == XCB_ATOM_NONE) return false;
  const std::unique_ptr<xcb_get_selection_owner_reply_t, Free> owner(
      xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom->atom), nullptr));
  return owner && owner->owner != XCB_WINDOW_NONE;
}

}  // namespace

bool showsTransparency() {
  auto* const x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  // Platforms without a screen give the interface and no connection.
  return x11 == nullptr || x11->connection() == nullptr || hasCompositor(x11->connection());
}

}  // namespace halcyra
