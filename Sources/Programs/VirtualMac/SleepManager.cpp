#include "Programs/VirtualMac/SleepManager.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "fmt/format.h"

#include "Platform/POSIX/PromptOutput.h"
#include "Programs/VirtualMac/ChildProgram.h"
#include "sdbus-c++/sdbus-c++.h"

namespace halcyra {

namespace {

constexpr const char* logindName = "org.freedesktop.login1";
constexpr const char* logindPath = "/org/freedesktop/login1";
constexpr const char* logindInterface = "org.freedesktop.login1.Manager";
/// As logind has it by default.
constexpr Seconds inhibitorLimit{5.0};
constexpr Seconds reconnectDelay{0.25};

bool concernsSleep(std::string_view what) {
  while (!what.empty()) {
    const auto end = std::min(what.find(':'), what.size());
    if (what.substr(0, end) == "sleep") return true;
    what.remove_prefix(std::min(end + 1, what.size()));
  }
  return false;
}

}  // namespace

/// The part that lives on the bus thread.
class SleepManager::Service : public std::enable_shared_from_this<Service> {
 public:
  Service(BusThread& bus, Reactor& reactor, SleepManager& manager) : bus_(bus), reactor_(reactor), manager_(manager) {}

  void connect() {
    try {
      sdbus::IConnection& connection = bus_.connection();
      bus_.onLoss(weak_from_this(), [this] {
        object_.reset();
        connectLater();
      });
      object_ = sdbus::createObject(connection, logindPath);
      object_->registerMethod(logindInterface, "Inhibit", "ssss", "h",
                              [this](sdbus::MethodCall call) { inhibit(std::move(call)); });
      object_->registerSignal(logindInterface, "PrepareForSleep", "b");
      object_->finishRegistration();
      connection.requestName(logindName);
      reactor_.post([&manager = manager_] {
        if (const auto ready = std::exchange(manager.whenReady_, nullptr)) ready();
      });
    } catch (const sdbus::Error&) {
      object_.reset();
      connectLater();
    }
  }

  void announce(bool sleep) {
    try {
      if (object_) {
        auto signal = object_->createSignal(logindInterface, "PrepareForSleep");
        signal << sleep;
        object_->emitSignal(signal);
      }
    } catch (const sdbus::Error& error) {
      promptStandardError().write(fmt::format("virtual-mac: sleep could not be announced: {}\n", error.what()));
    }
  }

 private:
  void connectLater() {
    bus_.postAfter(reconnectDelay, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->connect();
    });
  }

  void inhibit(sdbus::MethodCall call) {
    std::string what;
    std::string who;
    std::string why;
    std::string mode;
    call >> what >> who >> why >> mode;
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
      throw sdbus::Error("org.freedesktop.DBus.Error.LimitsExceeded", "No more inhibitors.");
    }
    auto reply = call.createReply();
    reply << sdbus::UnixFd(pipe[1], sdbus::adopt_fd);
    reply.send();
    const int readEnd = pipe[0];
    if (mode == "delay" && concernsSleep(what)) {
      reactor_.post([&manager = manager_, readEnd] { manager.addInhibitor(readEnd); });
    } else {
      ::close(readEnd);
    }
  }

  BusThread& bus_;
  Reactor& reactor_;
  SleepManager& manager_;
  std::unique_ptr<sdbus::IObject> object_;
};

SleepManager::SleepManager(Reactor& reactor, const RuntimeLayout& layout)
    : reactor_(reactor),
      bus_(std::make_unique<BusThread>(busOpener(layout.busAddress))),
      service_(std::make_shared<Service>(*bus_, reactor, *this)) {}

SleepManager::~SleepManager() {
  bus_.reset();
  for (const int inhibitor : inhibitors_) {
    reactor_.unwatch(inhibitor);
    ::close(inhibitor);
  }
}

void SleepManager::start(std::function<void()> ready) {
  whenReady_ = std::move(ready);
  bus_->post([service = service_] { service->connect(); });
}

void SleepManager::addInhibitor(int readEnd) {
  inhibitors_.insert(readEnd);
  reactor_.watch(readEnd, 0, [this, readEnd](short) { inhibitorClosed(readEnd); });
}

void SleepManager::inhibitorClosed(int readEnd) {
  reactor_.unwatch(readEnd);
  ::close(readEnd);
  inhibitors_.erase(readEnd);
  if (phase_ == Phase::fallingAsleep && inhibitors_.empty()) {
    fallAsleep(true);
  }
}

void SleepManager::sleep(std::function<void(bool)> done) {
  if (phase_ != Phase::awake) {
    throw VirtualMacError("The machine sleeps already.");
  }
  phase_ = Phase::fallingAsleep;
  whenAsleep_ = std::move(done);
  bus_->post([service = service_] { service->announce(true); });
  if (inhibitors_.empty()) {
    fallAsleep(true);
    return;
  }
  reactor_.after(inhibitorLimit, [this, sleep = ++sleeps_] {
    if (phase_ == Phase::fallingAsleep && sleep == sleeps_) {
      fallAsleep(false);
    }
  });
}

void SleepManager::fallAsleep(bool allowed) {
  phase_ = Phase::asleep;
  if (const auto done = std::exchange(whenAsleep_, nullptr)) {
    done(allowed);
  }
}

void SleepManager::wake() {
  if (phase_ != Phase::asleep) {
    throw VirtualMacError("The machine is awake.");
  }
  phase_ = Phase::awake;
  bus_->post([service = service_] { service->announce(false); });
}

}  // namespace halcyra
