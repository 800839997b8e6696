#include "App/Control/ConflictMonitor.h"

#include <utility>

#include "SMC/FanCapability.h"

namespace halcyra {

ConflictMonitor::ConflictMonitor(Platform& platform, const ChangeSignal& signal, const Replies& replies,
                                 std::function<void()> changed)
    : system_(platform.system),
      replies_(replies),
      changed_(std::move(changed)),
      competitor_(signal, std::nullopt),
      queue_(platform.dispatch.makeSerialQueue("com.norwick.Halcyra.controller-scan", QualityOfService::utility)) {}

void ConflictMonitor::request() {
  if (refresh_.request()) {
    run();
  }
}

void ConflictMonitor::run() {
  auto found = replies_.onMain([this](const std::optional<std::string>& name) {
    apply(name);
    if (refresh_.complete()) {
      run();
    }
  });
  queue_->async([&system = system_, found] { found(CompetingFanControllerDetector::runningController(system)); });
}

void ConflictMonitor::lookNow() {
  apply(CompetingFanControllerDetector::runningController(system_));
}

void ConflictMonitor::apply(const std::optional<std::string>& name) {
  if (name != *competitor_) {
    competitor_ = name;
  }
  changed_();
}

void ConflictMonitor::watch() {
  if (!timer_) {
    timer_ =
        replies_.mainQueue().startTimer(scanPeriod, scanPeriod, Seconds{0}, replies_.whileAlive([this] { request(); }));
  }
}

}  // namespace halcyra
