#include "Support/Scenario.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "fmt/format.h"

#include "Support/ScriptWords.h"

namespace halcyra::test {

namespace {

constexpr double lookPeriod = 0.1;
constexpr double patience = 30;
constexpr double scenarioAllowance = 2;

/// Moments of an activation: on the way of each message, and while what it asks for is being done.
const std::vector<std::string> moments = {"sent begin 0",  "sent begin 0.0003", "sent mode 0",    "sent mode 0.0003",
                                          "sent mode 0.3", "sent target 0",     "sent target 0.3"};

bool isHandBackWrite(const ClosedLoop::Write& write) {
  return write.key.ends_with("Md") && write.value == 0;
}

std::string restAfter(const std::string& text, std::size_t words) {
  std::size_t at = 0;
  for (; words > 0 && at != std::string::npos; --words) at = text.find_first_not_of(' ', text.find(' ', at));
  return at == std::string::npos ? "" : text.substr(at);
}

double numberAt(const std::vector<std::string>& words, std::size_t index) {
  return std::stod(words.at(index));
}

}  // namespace

void PrintTo(const ScenarioRow& row, std::ostream* out) {
  *out << row.name;
}

std::string nameOfScenario(const testing::TestParamInfo<ScenarioRow>& info) {
  return info.param.name;
}

Scenario::Scenario(const std::string& workload) : ScriptRunner(workload, 7, {}) {
  endsWhole_ = false;
  observer_.setAllowance(scenarioAllowance);
}

void Scenario::check(const std::string& text) {
  const auto place = text.find('%');
  for (const std::string& moment : place == std::string::npos ? std::vector<std::string>{""} : moments) {
    std::string each = text;
    if (place != std::string::npos) each.replace(place, 1, moment);
    EXPECT_EQ(run(each), "") << each;
  }
}

std::string Scenario::run(const std::string& text) {
  auto statements = piecesIn(text, ';');
  std::string workload = "idle";
  if (!statements.empty() && statements.front().starts_with("on ")) {
    workload = statements.front().substr(3);
    statements.erase(statements.begin());
  }
  Scenario scenario(workload);
  return scenario.play(statements);
}

std::string Scenario::play(const std::vector<std::string>& statements) {
  for (const std::string& each : statements) {
    if (each.starts_with("before ")) {
      before_.push_back(each.substr(7));
      continue;
    }
    if (now_ == 0) start();
    try {
      statement(each);
    } catch (const std::out_of_range&) {
      throw std::invalid_argument("too few words: " + each);
    }
    if (failure_.empty() && !observer_.violations().empty()) failure_ = describe(observer_.violations());
    if (!failure_.empty()) {
      failure_ = fmt::format("{:.2f} s, at \"{}\": {}\n{}", loop_.now(), each, failure_, state());
      break;
    }
  }
  endSecond();
  return failure_;
}

void Scenario::start() {
  const auto prepare = loop_.prepareApplication;
  loop_.prepareApplication = [this, prepare](TestPlatform& platform) {
    prepare(platform);
    for (const std::string& each : before_) {
      const Words words = wordsIn(each);
      if (words[0] == "model") {
        platform.system.setModel(restAfter(each, 1));
      } else if (words[0] == "helper-status") {
        platform.serviceManagement.setDaemonStatus(std::stoi(words.at(1)));
      } else if (words[0] == "store") {
        const bool isNumber = words.at(2).find_first_not_of("0123456789") == std::string::npos;
        isNumber ? platform.userDefaults.setInteger(words[1], std::stoi(words[2]))
                 : platform.userDefaults.setString(words[1], words[2]);
      }
    }
  };
  for (const std::string& each : before_) {
    const Words words = wordsIn(each);
    if (words[0] == "select") {
      settings_.selection = circumstances_.wantedPreset = presetNamed(words.at(1)).id.string();
    } else if (words[0] != "model" && words[0] != "helper-status" && words[0] != "store") {
      perform(each);
    }
  }
  loop_.startApplication();
  look(6);
  mark_ = {};
}

void Scenario::statement(const std::string& text) {
  const Words words = wordsIn(text);
  if (timed(text) || command(words)) return;
  perform(text);
  step();
}

bool Scenario::timed(const std::string& text) {
  const auto colon = text.find(": ");
  const auto kind = text.substr(0, text.find_first_of(" :"));
  if (colon == std::string::npos || (kind != "now" && kind != "until" && kind != "during" && kind != "at"))
    return false;
  const std::string conditions = text.substr(colon + 2);
  loop_.scheduler.runPending();
  if (kind == "now") {
    for (const std::string& each : piecesIn(conditions, ',')) expect(holds(each), each);
    return true;
  }
  const double end = loop_.now() + std::stod(text.substr(kind.size()));
  if (kind == "at") {
    expect(loop_.runUntil([&] { return holdsAll(conditions); }, end - loop_.now()), conditions);
    now_ = loop_.now();
    return true;
  }
  while (holdsAll(conditions) == (kind == "during")) {
    if (loop_.now() >= end - lookPeriod / 2) {
      expect(kind == "during", conditions);
      return true;
    }
    look(lookPeriod);
    if (!observer_.violations().empty()) return true;
  }
  expect(kind == "until", conditions);
  return true;
}

bool Scenario::command(const Words& words) {
  const std::string& verb = words[0];
  if (verb == "wait") {
    numberAt(words, 1) > 0 ? look(numberAt(words, 1)) : loop_.scheduler.runPending();
  } else if (verb == "sent") {
    const std::size_t before = sent(words.at(1));
    expect(loop_.runUntil([&] { return sent(words[1]) > before; }, patience), "sent");
    if (words.size() > 2 && numberAt(words, 2) > 0) loop_.run(numberAt(words, 2));
    now_ = loop_.now();
  } else if (verb == "written") {
    const std::size_t before = loop_.writes.size();
    expect(loop_.runUntil([&] { return loop_.writes.size() > before; }, patience), "written");
    now_ = loop_.now();
  } else if (verb == "mark") {
    mark_ = mark();
  } else if (verb == "allow") {
    observer_.setAllowance(numberAt(words, 1));
  } else if (verb == "quit") {
    asUser([this](AppModel& model) {
      model.prepareForTermination([this] {
        ++quits_;
        wasAutomaticAtEnd_ = wasAutomaticAtEnd_ && loop_.allAutomatic();
      });
    });
  } else if (verb == "second-preset") {
    second_->process->mainQueue().async(
        [model = second_->model, preset = presetNamed(words.at(1))] { model->activate(preset, false); });
  } else if (verb == "doze") {
    loop_.application->doubles->power.sleep();
    loop_.scheduler.runPending();
  } else if (verb == "wake") {
    loop_.application->doubles->power.wake();
  } else if (verb == "launch") {
    startApplication();
  } else if (verb == "helper-status") {
    loop_.application->doubles->serviceManagement.setDaemonStatus(std::stoi(words.at(1)));
  } else {
    return false;
  }
  return true;
}

void Scenario::look(double seconds) {
  for (const double end = loop_.now() + seconds; loop_.now() < end - 1e-6 && observer_.violations().empty();) {
    step();
    advanceTo(std::min(loop_.now() + lookPeriod, end));
  }
}

void Scenario::expect(bool holds, const std::string& what) {
  if (!holds && failure_.empty()) failure_ = "not so: " + what;
}

Scenario::Mark Scenario::mark() {
  Mark mark{loop_.writes.size(),
            observer_.record().carried().size(),
            observer_.record().begun(),
            observer_.record().heartbeats(),
            0,
            std::nullopt};
  if (loop_.application && loop_.application->model) {
    mark.samples = loop_.model().history().size();
    mark.sampled = loop_.model().lastTemperatureSampleDate();
  }
  return mark;
}

bool Scenario::holdsAll(const std::string& conditions) {
  const auto all = piecesIn(conditions, ',');
  return std::all_of(all.begin(), all.end(), [this](const std::string& each) { return holds(each); });
}

bool Scenario::holds(const std::string& condition) {
  if (condition.starts_with("not ")) return !holds(condition.substr(4));
  if (condition.starts_with("second ")) {
    asksSecond_ = true;
    const bool result = holds(condition.substr(7));
    asksSecond_ = false;
    return result;
  }
  const Words words = wordsIn(condition);
  auto result = machineHolds(words);
  if (!result) result = recordHolds(words, condition);
  if (!result) result = modelHolds(words, restAfter(condition, 1));
  if (!result) throw std::invalid_argument("no condition " + condition);
  return *result;
}

std::optional<bool> Scenario::machineHolds(const Words& words) {
  const std::string& name = words[0];
  if (name == "automatic") return loop_.allAutomatic();
  if (name == "manual") return loop_.allManual();
  if (name == "modes") return loop_.modes() == std::vector<int>{std::stoi(words.at(1)), std::stoi(words.at(2))};
  if (name == "driven") return isDriven();
  if (name == "released") return loop_.allAutomatic() && !wroteSince(false);
  if (name == "undriven") return !wroteSince(false);
  if (name == "untouched") return isDriven() && observer_.record().begun() == mark_.sessions && !wroteSince(true);
  if (name == "target") {
    const double target = loop_.truth().fans.at(static_cast<std::size_t>(std::stoi(words.at(1)))).target;
    return target >= numberAt(words, 2) - 0.5 && target <= numberAt(words, words.size() > 3 ? 3 : 2) + 0.5;
  }
  if (name == "targets") {
    std::vector<double> wanted;
    for (std::size_t index = 2; index < words.size(); ++index) wanted.push_back(numberAt(words, index));
    return targetsSince(words.at(1)) == wanted;
  }
  if (name == "last") {
    const auto targets = targetsSince(words.at(1));
    return !targets.empty() && targets.back() == numberAt(words, 2) && std::is_sorted(targets.begin(), targets.end()) &&
           std::count(targets.begin(), targets.end(), targets.back()) == 1;
  }
  if (name == "gentle") {
    const auto targets = targetsSince(words.at(1));
    return targets.size() >= 2 && std::adjacent_find(targets.begin(), targets.end(), [](double from, double to) {
                                    return to < from - 500;
                                  }) == targets.end();
  }
  if (name == "helper") return loop_.helperRuns();
  return std::nullopt;
}

std::optional<bool> Scenario::recordHolds(const Words& words, const std::string& condition) {
  const auto isWithin = [&](std::size_t count) {
    return static_cast<double>(count) >= numberAt(words, 1) &&
           static_cast<double>(count) <= numberAt(words, words.size() > 2 ? 2 : 1);
  };
  const std::string& name = words[0];
  const SessionRecord& record = observer_.record();
  if (name == "sessions") return isWithin(record.begun() - mark_.sessions);
  if (name == "beats") return isWithin(record.heartbeats() - mark_.heartbeats);
  if (name == "begins") return isWithin(sent("begin"));
  if (name == "useless") return loop_.bus.uselessAnswers() == std::stoi(words.at(1));
  if (name == "carried") return carriedIs(restAfter(condition, 1));
  if (name == "quits") return quits_ == std::stoi(words.at(1)) && wasAutomaticAtEnd_;
  if (name == "samples") return isWithin(asked().model->history().size() - mark_.samples);
  if (name == "logged") return asked().doubles->log.count(restAfter(condition, 2)) == std::stoul(words.at(1));
  if (name == "asleep") {
    const DirectPowerEvents& power = asked().doubles->power;
    return power.isAsleep() && power.allowed() == std::stoi(words.at(1));
  }
  if (name == "unregistered") {
    return asked().doubles->serviceManagement.counts().unregistered == std::stoi(words.at(1));
  }
  return std::nullopt;
}

std::optional<bool> Scenario::modelHolds(const Words& words, const std::string& rest) {
  const AppModel& model = *asked().model;
  const auto shows = [&](const std::optional<std::string>& text) {
    return text && (rest.empty() || text->find(rest) != std::string::npos);
  };
  const std::string& name = words[0];
  if (name == "sample") return model.lastTemperatureSampleDate() != mark_.sampled;
  if (name == "temperature") return model.displayTemperature() && model.controlTemperature();
  if (name == "override") return model.criticalThermalOverrideActive();
  if (name == "error") return shows(model.lastError());
  if (name == "visible") return shows(model.visibleError());
  if (name == "conflict") return shows(model.activeConflictMessage());
  if (name == "competing") return shows(model.competingController());
  if (name == "busy") return model.isBusy();
  if (name == "session") return model.hasHelperSession();
  if (name == "selected") return model.activePreset().id == presetNamed(rest).id;
  if (name == "state") return rawValue(model.helperState()) == rest;
  if (name == "passed") return model.supervisedTestPassed();
  return std::nullopt;
}

bool Scenario::isDriven() {
  if (!loop_.application || !loop_.application->model) return false;
  const AppModel& model = loop_.model();
  const bool isLive = observer_.record().live() != nullptr && model.hasHelperSession() && !model.isBusy();
  if (!isLive || !loop_.allManual()) return false;
  const FanPreset& preset = model.activePreset();
  const auto fans = loop_.truth().fans;
  return std::all_of(fans.begin(), fans.end(), [&](const VirtualFanState& fan) {
    const double wanted = preset.kind == PresetKind::fullBlast ? fan.maximum
                          : preset.constantRPM                 ? static_cast<double>(*preset.constantRPM)
                                                               : fan.target;
    return std::abs(fan.target - wanted) <= 0.5;
  });
}

/// "*" stands for any messages, none too.
bool Scenario::carriedIs(const std::string& wanted) const {
  const auto& all = observer_.record().carried();
  std::string carried;
  for (std::size_t index = mark_.carried; index < all.size(); ++index) carried += all[index] + " / ";
  std::size_t at = 0;
  bool isFree = false;
  for (const std::string& piece : piecesIn(wanted, '/')) {
    if (piece == "*") {
      isFree = true;
      continue;
    }
    const auto found = carried.find(piece + " / ", at);
    if (found == std::string::npos || (!isFree && found != at)) return false;
    at = found + piece.size() + 3;
    isFree = false;
  }
  return isFree || at == carried.size();
}

std::vector<double> Scenario::targetsSince(const std::string& fan) const {
  std::vector<double> targets;
  for (std::size_t index = mark_.writes; index < loop_.writes.size(); ++index) {
    const auto& write = loop_.writes[index];
    if (write.key == "F" + fan + "Tg") targets.push_back(write.value);
  }
  return targets;
}

/// Hand-backs, or commands to a fan that are none.
bool Scenario::wroteSince(bool handBacks) const {
  return std::any_of(loop_.writes.begin() + static_cast<std::ptrdiff_t>(mark_.writes), loop_.writes.end(),
                     [&](const auto& write) { return isHandBackWrite(write) == handBacks; });
}

/// For whoever reads that something was not so.
std::string Scenario::state() {
  std::string text;
  for (const VirtualFanState& fan : loop_.truth().fans)
    text += fmt::format("fan {} mode {} target {:.0f}, ", fan.index, fan.mode, fan.target);
  text += fmt::format("{} sessions since, carried:", observer_.record().begun() - mark_.sessions);
  const auto& all = observer_.record().carried();
  for (std::size_t index = mark_.carried; index < all.size(); ++index) text += " " + all[index] + " /";
  if (!loop_.application || !loop_.application->model) return text;
  const AppModel& model = loop_.model();
  return text + fmt::format(" {}{}{}, error: {}", model.activePreset().name, model.isBusy() ? ", busy" : "",
                            model.hasHelperSession() ? ", session" : "", model.lastError().value_or("none"));
}

}  // namespace halcyra::test
