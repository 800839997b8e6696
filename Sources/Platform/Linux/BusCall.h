#pragma once

#include <functional>
#include <string>

#include "Platform/Linux/BusThread.h"
#include "sdbus-c++/sdbus-c++.h"

namespace halcyra {

/// The bus itself, as a service and as the sender of signals; nobody else can have the name.
inline constexpr const char* busDriverName = "org.freedesktop.DBus";
inline constexpr const char* busDriverPath = "/org/freedesktop/DBus";

struct BusCallTarget {
  std::string service;
  std::string path;
  std::string interface;
  std::string method;
};

/// Sends one method call on the bus. `fill` appends the arguments; `done` is called exactly once with the reply, or
/// with null and the error when there is none. From any thread; both run on the bus thread and must not throw other
/// than `sdbus::Error`.
void sendBusCall(BusThread& bus, BusCallTarget target, std::function<void(sdbus::Message&)> fill,
                 std::function<void(sdbus::MethodReply*, const sdbus::Error*)> done);

}  // namespace halcyra
