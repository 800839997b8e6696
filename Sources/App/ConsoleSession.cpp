#include "App/ConsoleSession.h"

#include <algorithm>
#include <utility>

#include "fmt/format.h"

#include "App/ConsoleReport.h"
#include "Platform/UntrustedText.h"

namespace halcyra {

namespace {

std::string lowered(const std::string& text) {
  std::string result = text;
  std::transform(result.begin(), result.end(), result.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return result;
}

}  // namespace

std::optional<FanPreset> findPreset(const std::vector<FanPreset>& presets, const std::string& name) {
  const auto matching = [&](auto&& matches) -> std::optional<FanPreset> {
    const auto found = std::find_if(presets.begin(), presets.end(), matches);
    return found == presets.end() ? std::nullopt : std::optional(*found);
  };
  if (auto exact = matching([&](const FanPreset& preset) { return preset.name == name; })) {
    return exact;
  }
  return matching([&](const FanPreset& preset) { return lowered(preset.name) == lowered(name); });
}

ConsoleSession::ConsoleSession(Platform& platform, std::shared_ptr<AppModel> model, ConsoleOptions options,
                               ConsoleSurroundings surroundings)
    : platform_(platform),
      model_(std::move(model)),
      options_(std::move(options)),
      surroundings_(std::move(surroundings)) {}

void ConsoleSession::start() {
  subscription_ = model_->observe([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->scheduleRefresh();
  });
  if (options_.duration) {
    end_ = platform_.dispatch.mainQueue().startTimer(*options_.duration, Seconds{0}, Seconds{0},
                                                     [weak = weak_from_this()] {
                                                       if (const auto self = weak.lock()) self->endAfterDuration();
                                                     });
  }
  scheduleRefresh();
}

void ConsoleSession::stop(int status) {
  if (stopping_) {
    return;
  }
  stopping_ = true;
  end_.reset();
  const int result = status == 0 && recordingFailed_ ? 1 : status;
  model_->prepareForTermination(
      [self = shared_from_this(), result] {
        const auto failure = self->model_->handBackFailure();
        if (failure) self->surroundings_.complain(*failure);
        self->surroundings_.finished(failure && result == 0 ? 1 : result);
      },
      [self = shared_from_this()] { self->surroundings_.complain("waiting for the helper to hand the fans back…"); });
}

// A script that asked for a preset is told when it got none.
void ConsoleSession::endAfterDuration() {
  const bool isMissed = options_.preset && options_.preset->kind != PresetKind::system && !presetDrove_;
  if (!stopping_ && isMissed) {
    surroundings_.complain(fmt::format("“{}” never drove a fan: {}", onOneLine(options_.preset->name),
                                       model_->lastError().value_or(model_->controlStatus().line())));
  }
  stop(isMissed ? 1 : 0);
}

void ConsoleSession::scheduleRefresh() {
  if (std::exchange(refreshScheduled_, true)) {
    return;
  }
  platform_.dispatch.mainQueue().async([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->refresh();
  });
}

void ConsoleSession::refresh() {
  refreshScheduled_ = false;
  if (stopping_) {
    return;
  }
  const bool polled = model_->lastTemperatureSampleDate() && model_->lastTemperatureSampleDate() != lastSample_;
  const bool failed = model_->lastError() && model_->lastError() != lastError_;
  lastSample_ = model_->lastTemperatureSampleDate();
  lastError_ = model_->lastError();
  if (polled || failed) {
    print();
  }
  if (polled) {
    record();
  }
  polls_ += polled ? 1 : 0;
  presetDrove_ = presetDrove_ || (options_.preset && model_->activePreset().id == options_.preset->id &&
                                  model_->controlStatus().kind == ControlStatus::Kind::driving);
  while (!stopping_ && advance()) {
  }
}

void ConsoleSession::print() {
  try {
    printReport();
  } catch (const LocalizedError& error) {
    fail(error.errorDescription());
  }
}

void ConsoleSession::printReport() const {
  const ConsoleReport report = ConsoleReport::of(*model_, platform_.clock.now());
  switch (options_.style) {
    case ConsoleStyle::lines:
      surroundings_.output(report.line() + "\n");
      break;
    case ConsoleStyle::json:
      surroundings_.output(report.json() + "\n");
      break;
    case ConsoleStyle::table:
      surroundings_.output("\x1b[H\x1b[2J" + report.table() + "\n  Ctrl-C hands the fans back and ends.\n");
      break;
  }
}

void ConsoleSession::record() {
  // Without any fan the machine has not been read in full yet.
  if (!surroundings_.record || model_->fans().empty()) {
    return;
  }
  try {
    surroundings_.record(recorder_.add(platform_.clock.steadyNow(), platform_.clock.now(), model_->sensorReadings(),
                                       model_->fans(), model_->thermalControlSupported()));
  } catch (const LocalizedError& error) {
    surroundings_.complain(fmt::format("The recording has ended: {}", error.what()));
    surroundings_.record = nullptr;
    recordingFailed_ = true;
  }
}

bool ConsoleSession::advance() {
  switch (step_) {
    case Step::helper:
      step_ = Step::test;
      setUpHelper();
      return true;
    case Step::test:
      return startTest();
    case Step::awaitingTest:
      if (model_->isBusy()) return false;
      step_ = Step::preset;
      if (!model_->supervisedTestPassed()) {
        fail(fmt::format("The supervised fan test failed: {}", model_->lastError().value_or("it was ended early")));
      }
      return true;
    case Step::preset:
      if (polls_ == 0 || model_->isBusy()) return false;
      step_ = Step::running;
      if (options_.preset && !presetDrove_) model_->activate(*options_.preset);
      return true;
    case Step::running:
      return false;
  }
  return false;
}

void ConsoleSession::setUpHelper() {
  if (options_.installHelper) {
    model_->installHelper();
  }
  if (!options_.approveHelper) {
    return;
  }
  try {
    surroundings_.approveHelper();
  } catch (const LocalizedError& error) {
    fail(fmt::format("The helper could not be approved: {}", error.what()));
  }
}

bool ConsoleSession::startTest() {
  if (!options_.supervisedTest || model_->supervisedTestPassed()) {
    step_ = Step::preset;
    return true;
  }
  const bool enabled = model_->helperState() == HelperInstallState::enabled;
  // The first poll may have begun before the helper was set up; the second has not.
  if (model_->isBusy() || polls_ < (enabled ? 1 : 2)) {
    return false;
  }
  step_ = Step::awaitingTest;
  if (enabled) {
    model_->runSupervisedFan0Test();
  } else {
    fail(fmt::format("The supervised fan test needs the privileged helper, which is: {}",
                     rawValue(model_->helperState())));
  }
  return true;
}

void ConsoleSession::fail(const std::string& message) {
  surroundings_.complain(message);
  stop(1);
}

}  // namespace halcyra
