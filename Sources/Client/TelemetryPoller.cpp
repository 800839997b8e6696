#include "Client/TelemetryPoller.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "fmt/format.h"

#include "XPC/FanControlXPC.h"

namespace halcyra {

TelemetryPoller::TelemetryPoller(Platform& platform)
    : platform_(platform),
      logger_(platform.log, "com.norwick.Halcyra.core", "TelemetryPoller"),
      smc_(platform.iokit, platform.clock, SMCWriteCapability::disabled, {}),
      queue_(platform.dispatch.makeSerialQueue("com.norwick.Halcyra.smc-poll", QualityOfService::standard)) {}

TelemetryPoller::~TelemetryPoller() = default;

void TelemetryPoller::open() {
  queue_->sync([this] { smc_.open(); });
}

// The application ends: it does not wait for the rest of a read whose calls may take a second each.
void TelemetryPoller::close() {
  smc_.abandon();
  queue_->sync([this] {
    isClosed_ = true;
    smc_.close();
  });
}

void TelemetryPoller::read(Completion completion) {
  queue_->async([this, completion = std::move(completion)] { completion(performRead()); });
}

TelemetryResult TelemetryPoller::performRead() {
  try {
    return readSnapshot();
  } catch (const std::exception&) {
    return currentExceptionAsError();
  }
}

// A fan that was missed because a key did not answer must not stay missing; but a key that never answers while others
// do is not waited for indefinitely.
void TelemetryPoller::lookForFans() {
  auto controller = std::make_unique<FanController>(smc_, platform_.log);
  const HardwareCapabilities& found = controller->probeCapabilities();
  if (!found.isComplete && (found.fans.empty() || found != doubtful_)) {
    doubtful_ = found;
    throw SMCError::readFailed("Fan telemetry is incomplete (a key of a fan could not be asked for)");
  }
  controller_ = std::move(controller);
}

void TelemetryPoller::readFan(int index, TelemetrySnapshot& snapshot) {
  try {
    if (auto fan = controller_->readFan(index)) {
      snapshot.fans.push_back(*fan);
      return;
    }
    snapshot.fansWithBadLimits.push_back(index);
    if (std::find(fansWithBadLimits_.begin(), fansWithBadLimits_.end(), index) == fansWithBadLimits_.end()) {
      logger_.error(fmt::format("fan {} is left alone: it reports impossible RPM bounds", index));
    }
  } catch (const std::exception&) {
    // Counted by the caller: a partial snapshot is never delivered.
  }
}

TelemetrySnapshot TelemetryPoller::readSnapshot() {
  if (!smc_.isOpen()) {
    if (isClosed_) throw SMCError::notOpen();
    smc_.open();
  }
  if (!reader_) {
    reader_ = std::make_unique<SensorReader>(smc_);
  }
  if (!controller_) {
    lookForFans();
  }
  const std::vector<FanCapability>& expected = controller_->probeCapabilities().fans;
  TelemetrySnapshot snapshot;
  for (const FanCapability& fan : expected) {
    readFan(fan.index, snapshot);
  }
  fansWithBadLimits_ = snapshot.fansWithBadLimits;
  if (snapshot.fans.size() + snapshot.fansWithBadLimits.size() != expected.size()) {
    throw SMCError::readFailed(
        fmt::format("Fan telemetry is incomplete ({} of {} fans)", snapshot.fans.size(), expected.size()));
  }
  snapshot.average = reader_->readCPUCoreAverage();
  try {
    snapshot.readings = reader_->readAllTemperatures();
  } catch (const std::exception&) {
    // The list is for show; control needs only what has been read above.
    snapshot.readings.clear();
  }
  snapshot.helperState = helperInstallStateFromStatus(
      platform_.serviceManagement.daemonStatus(std::string(FanControlXPC::daemonPlistName)));
  return snapshot;
}

}  // namespace halcyra
