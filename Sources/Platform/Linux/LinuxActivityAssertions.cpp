#include "Platform/Linux/LinuxActivityAssertions.h"

#include <utility>

#include "Platform/Linux/BusCall.h"

namespace halcyra {

namespace {

/// Bus thread only.
struct Inhibitor {
  sdbus::UnixFd descriptor;
  bool released = false;
};

class LogindAssertion : public ActivityAssertion {
 public:
  LogindAssertion(BusThread& bus, const std::string& reason) : bus_(bus), inhibitor_(std::make_shared<Inhibitor>()) {
    sendBusCall(
        bus_, {"org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager", "Inhibit"},
        [reason](sdbus::Message& message) {
          message << std::string("shutdown") << std::string("Aerovane") << reason << std::string("delay");
        },
        [inhibitor = inhibitor_](sdbus::MethodReply* reply, const sdbus::Error*) {
          if (reply != nullptr && !inhibitor->released) {
            *reply >> inhibitor->descriptor;
          }
        });
  }

  ~LogindAssertion() override {
    bus_.post([inhibitor = inhibitor_] {
      inhibitor->released = true;
      inhibitor->descriptor = {};
    });
  }
  LogindAssertion(const LogindAssertion&) = delete;
  LogindAssertion& operator=(const LogindAssertion&) = delete;

 private:
  BusThread& bus_;
  std::shared_ptr<Inhibitor> inhibitor_;
};

}  // namespace

std::unique_ptr<ActivityAssertion> LinuxActivityAssertions::beginActivity(ActivityOptions /*options*/,
                                                                          const std::string& reason) {
  return std::make_unique<LogindAssertion>(bus_, reason);
}

}  // namespace halcyra
