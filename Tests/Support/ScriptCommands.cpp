// What the commands of a script do.

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "fmt/format.h"

#include "Support/HelperMessages.h"
#include "Support/ScriptRunner.h"
#include "Support/ScriptWords.h"
#include "XPC/FanControlXPC.h"
#include "XPC/HelperXPCError.h"

namespace halcyra::test {

namespace {

/// A curve for each fan. The speed that an edit brings makes it a steeper or flatter one.
FanPreset minePreset(std::int64_t rpm) {
  FanPreset preset = FanPreset::cpuCoreDefault();
  preset.id = UUID::parse("6C1B2F44-7A55-4E0D-9B43-0F2F3B7F1A02").value();
  preset.name = "Mine";
  preset.linkedFans = false;
  preset.ensureFanSettings();
  preset.fan0Settings->highTemperature = 60 + static_cast<double>(rpm) / 200;
  return preset;
}

std::string selectorNamed(const std::string& name) {
  namespace Selector = FanControlHelperSelector;
  if (name == "begin") return std::string(Selector::beginSession);
  if (name == "heartbeat") return std::string(Selector::heartbeat);
  if (name == "mode") return std::string(Selector::setFanMode);
  if (name == "target") return std::string(Selector::setFanTargetRPM);
  if (name == "reset") return std::string(Selector::resetAll);
  if (name == "end") return std::string(Selector::endSession);
  if (name == "prepare") return std::string(Selector::prepareForUninstall);
  throw std::invalid_argument("no message " + name);
}

}  // namespace

std::vector<std::string> wordsIn(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

std::vector<std::string> piecesIn(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::istringstream stream(text);
  for (std::string piece; std::getline(stream, piece, separator);) {
    const auto first = piece.find_first_not_of(" \n");
    if (first != std::string::npos) pieces.push_back(piece.substr(first, piece.find_last_not_of(" \n") + 1 - first));
  }
  return pieces;
}

FanPreset presetNamed(const std::string& name, std::int64_t rpm) {
  if (name == "apple-default") return FanPreset::systemDefault();
  if (name == "smart-auto") return FanPreset::automatic();
  if (name == "full-blast") return FanPreset::fullBlast();
  if (name == "cooling") return FanPreset::cpuCoreDefault();
  if (name == "battery-saver") return FanPreset::batterySaver();
  if (name == "steady") return steadyPreset(rpm);
  if (name == "mine") return minePreset(rpm);
  throw std::invalid_argument("no preset " + name);
}

bool ScriptRunner::performMachine(const Words& words, const std::string& command) {
  if (words[0] == "fault") {
    applyFault(command.substr(words[0].size() + words.at(1).size() + 2), std::stod(words[1]));
  } else if (words[0] == "blind") {
    blindDies(words.at(2), words.size() > 3 ? words[3] : "", std::stod(words[1]));
  } else if (words[0] == "spike") {
    loop_.fault(command);
  } else if (words[0] == "other-party") {
    const auto fan = static_cast<std::size_t>(std::stoi(words.at(1)));
    const bool wasAutomatic = loop_.truth().fans.at(fan).mode == 0;
    loop_.fault(fmt::format("set-mode {} {} {}", words[1], words.at(2), words.size() > 3 ? words[3] : ""));
    if (wasAutomatic) circumstances_.isForeign.at(fan) = words[2] == "1";
    circumstances_.isTaken.at(fan) |= !wasAutomatic && words[2] == "0";
  } else if (words[0] == "clear") {
    loop_.fault(command);
  } else if (words[0] == "dies") {
    atEveryDie([&](const std::string& key) { loop_.fault(fmt::format("value {} {}", key, words.at(1))); });
  } else if (words[0] == "workload") {
    loop_.machine.setWorkload(makeWorkload(words.at(1), 1));
  } else if (words[0] == "message" || words[0] == "messages") {
    layMessageFault(words);
  } else {
    return false;
  }
  return true;
}

bool ScriptRunner::performSystem(const Words& words) {
  if (words[0] == "sleep") {
    sleep(std::stod(words.at(1)));
  } else if (words[0] == "clock") {
    loop_.scheduler.stepWallClock(Seconds{std::stod(words.at(1))});
  } else if (words[0] == "invalidate") {
    circumstances_.lastConnectionLoss = now_;
    loop_.bus.invalidateConnections(std::string(FanControlXPC::machServiceName));
  } else if (words[0] == "lose-bus") {
    if (!std::exchange(circumstances_.busIsUp, false)) return true;
    circumstances_.lastConnectionLoss = now_;
    loop_.bus.loseBus();
    later(std::stod(words.at(1)), [this] {
      circumstances_.busIsUp = true;
      loop_.bus.restoreBus();
    });
  } else {
    return false;
  }
  return true;
}

bool ScriptRunner::performUser(const Words& words) {
  const std::string& verb = words[0];
  if (verb == "preset" || verb == "delete") {
    asUser([preset = presetNamed(words.at(1)), selects = verb == "preset"](AppModel& model) {
      const auto listed = FanPreset::menuOrder(model.customPresets());
      const auto found =
          std::find_if(listed.begin(), listed.end(), [&](const FanPreset& each) { return each.id == preset.id; });
      if (found == listed.end()) return;
      selects ? model.activate(*found, false) : model.deletePreset(*found);
    });
  } else if (verb == "edit") {
    asUser([edited = presetNamed(words.at(1), std::stoll(words.at(2)))](AppModel& model) { model.savePreset(edited); });
  } else if (verb == "emergency-reset") {
    asUser([](AppModel& model) {
      model.resetToAutomatic({.reason = "settings emergency reset", .selection = Selection::drop});
    });
  } else if (verb == "supervised-test") {
    asUser([](AppModel& model) { model.runSupervisedFan0Test(); });
  } else if (verb == "other-owner") {
    ++otherOwners_;
    asUser([](AppModel& model) { model.setFanControlOwnership(FanControlOwnership::anotherApp); });
    later(std::stod(words.at(1)), [this] {
      if (--otherOwners_ > 0) return;
      asUser([](AppModel& model) { model.setFanControlOwnership(FanControlOwnership::aerovane); });
    });
  } else if (verb == "interval") {
    interval_ = std::stod(words.at(1));
    asUser([seconds = interval_](AppModel& model) {
      model.setPollingInterval(seconds);
      model.restartPolling();
    });
  } else if (verb == "uninstall") {
    asUser([](AppModel& model) { model.uninstallHelper(); });
    later(std::stod(words.at(1)), [this] {
      if (loop_.application) loop_.application->doubles->serviceManagement.setDaemonStatus(ServiceManagement::enabled);
    });
  } else {
    return false;
  }
  return true;
}

bool ScriptRunner::performProcess(const Words& words) {
  const std::string& verb = words[0];
  const double seconds = words.size() > 1 ? std::stod(words[1]) : 0;
  if (verb == "kill-helper") {
    if (isAwake()) loop_.killHelper();
  } else if (verb == "stop-helper") {
    helperStoppedUntil_ = std::max(helperStoppedUntil_, now_ + seconds);
  } else if (verb == "stop-application" || verb == "hang-application") {
    holdApplication(seconds, verb == "hang-application");
  } else if (verb == "kill-application") {
    if (!isAwake() || !loop_.application) return true;
    endApplication(loop_.application->processID);
    later(seconds, [this] { startApplication(); });
  } else if (verb == "quit-application") {
    quitApplication(seconds);
  } else if (verb == "second-application") {
    startSecond(seconds, words.at(2));
  } else if (verb == "competitor") {
    ++competitors_;
    for (auto* each : applications()) each->doubles->system.setProcess(competitorProcess, competitorPath);
    later(seconds, [this] {
      if (--competitors_ > 0) return;
      for (auto* each : applications()) each->doubles->system.endProcess(competitorProcess);
    });
  } else {
    return false;
  }
  return true;
}

void ScriptRunner::layMessageFault(const Words& words) {
  using Kind = MessageFault::Kind;
  const std::string& what = words.at(2);
  MessageFault fault;
  if (what == "lose-request") {
    fault.kind = Kind::loseRequest;
  } else if (what == "lose-reply") {
    fault.kind = Kind::loseReply;
  } else if (what == "twice") {
    fault.kind = Kind::duplicateReply;
  } else if (what == "late") {
    fault.kind = Kind::lateReply;
    fault.delay = Seconds{std::stod(words.at(3))};
  } else if (what == "fail") {
    fault.kind = Kind::fail;
    fault.error = Error(cocoaErrorDomain, std::stoll(words.at(3)), "The message failed.");
  } else if (what == "refuse") {
    fault.kind = Kind::fail;
    const std::string text = words.size() > 4 ? fmt::format("{}", fmt::join(words.begin() + 4, words.end(), " ")) : "";
    fault.error = Error(HelperXPCError::domain, std::stoll(words.at(3)), text);
  } else if (what != "pass") {
    throw std::invalid_argument("no message fault " + what);
  }
  const std::string selector = selectorNamed(words.at(1));
  if (words[0] == "messages") {
    loop_.bus.setStandingFault(selector, what == "pass" ? std::nullopt : std::optional(fault));
  } else if (now_ < FaultScript::messagesEnd) {
    loop_.bus.addFault(selector, fault);
  }
}

std::size_t ScriptRunner::sent(const std::string& kind) const {
  return loop_.bus.sentCount(selectorNamed(kind));
}

}  // namespace halcyra::test
