#include "Support/HelperRig.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "fmt/format.h"
#include "gtest/gtest.h"

#include "Helpers/FanControlProcessLock.h"
#include "Support/ScriptWords.h"
#include "XPC/HelperXPCError.h"

namespace halcyra::test {

/// Takes the handlers; what a bus does with them is done by hand.
class HelperRig::Listener : public FanControlHelperListener {
 public:
  void setService(std::weak_ptr<FanControlHelperService> of) override { service = std::move(of); }
  void setClientGoneHandler(std::function<void(const std::string&)> handler) override { gone = std::move(handler); }
  void setLostHandler(std::function<void()> handler) override { lost = std::move(handler); }
  void resume() override {}

  std::weak_ptr<FanControlHelperService> service;
  std::function<void(const std::string&)> gone;
  std::function<void()> lost;
};

HelperRig::HelperRig(bool connectionsDie)
    : machine({}, makeWorkload("idle")), observer(machine, scheduler.clock(), false), connectionsDie_(connectionsDie) {
  lockFile = (folder_ / "fan-control.lock").string();
  machine.setWriteObserver([this](const std::string& key, double value) {
    writes.push_back({key, value, now()});
    if (onWrite) onWrite(writes.back());
  });
}

HelperRig::~HelperRig() {
  kill();
}

void HelperRig::start() {
  if (daemon && !finished) return;
  kill();
  process = scheduler.makeProcess("helper");
  iokit_ = std::make_unique<VirtualMacIOKit>(machine, process->clock(), true);
  iokit_->connectionsDie = connectionsDie_;
  listener_ = std::make_unique<Listener>();
  finished.reset();
  daemon = HelperDaemon::make({process->clock(), *process, log, *iokit_}, {lockFile, {}, {registeredUser}},
                              [this](int status) { finished = status; });
  daemon->serve(*listener_);
  onMain([](HelperDaemon& helper) { helper.start(); });
  scheduler.runPending();
}

void HelperRig::kill() {
  if (!process) return;
  process->kill();
  daemon.reset();
  endedProcesses_.push_back(std::move(process));
  endedDrivers_.push_back(std::move(iokit_));
}

FanControlHelperCaller HelperRig::caller(char name) {
  switch (name) {
    case '0':
      return {":1.0", 0, 100};
    case '2':
      return {":1.2", registeredUser, 102};
    case '3':
      return {":1.3", registeredUser + 1, 103};
    default:
      return {":1.1", registeredUser, 101};
  }
}

void HelperRig::send(char from, const std::string& selector, const PropertyList& arguments, Reply reply) {
  process->mainQueue().async([this, who = caller(from), selector, arguments, reply = std::move(reply)] {
    const auto service = listener_->service.lock();
    if (!service) return;
    try {
      deliverMessage(*service, who, selector, arguments, reply);
    } catch (const std::exception&) {
      // No message of the helper's: it does not get as far as the service.
      reply({nullptr, HelperXPCError::make(HelperXPCError::Code::internalFailure, "no such message")});
    }
  });
}

void HelperRig::clientGone(char who) {
  process->mainQueue().async([this, name = caller(who).connectionName] { listener_->gone(name); });
}

void HelperRig::busLost() {
  process->mainQueue().async([this] { listener_->lost(); });
}

void HelperRig::onMain(std::function<void(HelperDaemon&)> work) {
  process->mainQueue().async([helper = std::weak_ptr(daemon), work = std::move(work)] {
    if (const auto self = helper.lock()) work(*self);
  });
}

std::vector<int> HelperRig::modes() {
  std::vector<int> result;
  for (const VirtualFanState& fan : observer.state().fans) result.push_back(fan.mode);
  return result;
}

bool HelperRig::lockIsFree() {
  FanControlProcessLock probe(lockFile, std::nullopt, scheduler.clock());
  try {
    probe.acquire("test");
    return true;
  } catch (const FanControlProcessLockError&) {
    return false;
  }
}

// The script.

namespace {

using Words = std::vector<std::string>;

std::string sessionIDOf(const std::string& name) {
  if (name == "A") return "6F9619FF-8B86-4D11-B42D-00CF4FC964FF";
  if (name == "B") return "0A1B2C3D-4E5F-4A6B-8C7D-9E0F1A2B3C4D";
  return name == "none" ? "" : name;
}

bool isMessage(const std::string& word) {
  static const Words all = {"status", "prepare", "begin", "beat", "reset", "end", "mode", "target"};
  return std::find(all.begin(), all.end(), word) != all.end();
}

const std::map<std::string, HelperXPCError::Code> codes = {
    {"unauthorizedClient", HelperXPCError::Code::unauthorizedClient},
    {"busy", HelperXPCError::Code::busy},
    {"invalidSession", HelperXPCError::Code::invalidSession},
    {"invalidFan", HelperXPCError::Code::invalidFan},
    {"unsupportedHardware", HelperXPCError::Code::unsupportedHardware},
    {"abnormalPreflight", HelperXPCError::Code::abnormalPreflight},
    {"controlUnavailable", HelperXPCError::Code::controlUnavailable},
    {"internalFailure", HelperXPCError::Code::internalFailure}};

}  // namespace

void HelperScript::check(const std::string& text) {
  HelperScript script;
  EXPECT_EQ(script.play(text), "") << text;
}

std::string HelperScript::play(const std::string& text) {
  auto statements = piecesIn(text, ';');
  if (!statements.empty() && statements.front() == "cold") {
    statements.erase(statements.begin());
  } else {
    statements.insert(statements.begin(), {"start", "wait 12", "mark"});
  }
  for (const std::string& each : statements) {
    statement(each);
    if (failure_.empty()) continue;
    return fmt::format("{:.3f} s, at \"{}\": {}\nmodes {} {}, {}, writes since the mark: {}", rig_.now(), each,
                       failure_, rig_.modes()[0], rig_.modes()[1], rig_.hasSession() ? "session" : "no session",
                       rig_.writes.size() - mark_);
  }
  return "";
}

void HelperScript::statement(const std::string& text) {
  if (timed(text)) return;
  const auto equals = text.find(" = ");
  const auto colon = text.find(": ");
  const bool isNamed = colon != std::string::npos && colon < text.find(' ');
  const Words words = wordsIn(
      text.substr(isNamed ? colon + 2 : 0, equals == std::string::npos || isNamed ? std::string::npos : equals));
  if (isMessage(words[0])) {
    const auto answer = send(words);
    if (isNamed) {
      named_[text.substr(0, colon)] = answer;
      rig_.scheduler.runPending();
    } else if (equals != std::string::npos) {
      judge(*answer, text.substr(equals + 3));
    }
  } else if (equals != std::string::npos && named_.contains(words[0])) {
    judge(*named_.at(words[0]), text.substr(equals + 3));
  } else if (!event(words, text)) {
    throw std::invalid_argument("no statement " + text);
  }
}

bool HelperScript::event(const Words& words, const std::string& text) {
  const std::string& verb = words[0];
  const auto seconds = [&] { return Seconds{std::stod(words.at(1))}; };
  if (verb == "start") {
    rig_.start();
  } else if (verb == "kill") {
    rig_.kill();
  } else if (verb == "stop") {
    rig_.onMain([](HelperDaemon& helper) { helper.stop(0, "signal"); });
  } else if (verb == "gone") {
    rig_.clientGone(words.at(1)[0]);
  } else if (verb == "lost") {
    rig_.busLost();
  } else if (verb == "take") {
    for (const char* each : {"begin 1 A = ok", "mode 1 A 0 manual = ok", "target 1 A 0 3000 = ok",
                             "mode 1 A 1 manual = ok", "target 1 A 1 3000 = ok", "beat 1 A = ok", "mark"}) {
      if (failure_.empty()) statement(each);
    }
  } else if (verb == "written") {
    const std::size_t before = rig_.writes.size();
    expect(rig_.scheduler.runUntil([&] { return rig_.writes.size() > before; }, Seconds{5}), "written");
    rig_.scheduler.runFor(Seconds{0.01});
  } else if (verb == "wait") {
    rig_.scheduler.runFor(seconds());
  } else if (verb == "fault" || verb == "clear") {
    rig_.observer.applyFault(verb == "fault" ? text.substr(6) : text);
  } else if (verb == "suspend") {
    rig_.process->suspend();
  } else if (verb == "resume") {
    rig_.process->resume();
  } else if (verb == "hang") {
    rig_.onMain([this, time = seconds()](HelperDaemon&) { rig_.process->clock().sleep(time); });
  } else if (verb == "clock") {
    rig_.scheduler.stepWallClock(seconds());
  } else if (verb == "heart") {
    for (double left = seconds().count(); left > 0; left -= 4) {
      rig_.scheduler.runFor(Seconds{std::min(left, 4.0)});
      if (failure_.empty()) statement("beat 1 A = ok");
    }
  } else if (verb == "other-lock") {
    otherLock_ = words.at(1) == "off"
                     ? nullptr
                     : std::make_unique<FanControlProcessLock>(rig_.lockFile, std::nullopt, rig_.scheduler.clock());
    if (otherLock_) otherLock_->acquire("somebody else");
  } else if (verb == "mark") {
    mark_ = rig_.writes.size();
  } else {
    return false;
  }
  return true;
}

bool HelperScript::timed(const std::string& text) {
  const auto colon = text.find(": ");
  const auto kind = text.substr(0, text.find_first_of(" :"));
  if (colon == std::string::npos || (kind != "now" && kind != "until" && kind != "during")) return false;
  rig_.scheduler.runPending();
  const auto conditions = piecesIn(text.substr(colon + 2), ',');
  const auto allHold = [&] {
    return std::all_of(conditions.begin(), conditions.end(), [this](const auto& each) { return holds(each); });
  };
  if (kind == "now") {
    for (const std::string& each : conditions) expect(holds(each), each);
    return true;
  }
  const double end = rig_.now() + std::stod(text.substr(kind.size()));
  while (failure_.empty() && allHold() == (kind == "during") && rig_.now() < end - 1e-6) {
    rig_.scheduler.runFor(Seconds{std::min(0.1, end - rig_.now())});
  }
  expect(allHold(), text.substr(colon + 2));
  return true;
}

std::shared_ptr<HelperScript::Answer> HelperScript::send(const Words& words) {
  namespace Selector = FanControlHelperSelector;
  const std::string& verb = words[0];
  PropertyList arguments = PropertyList::array();
  std::string_view selector = verb == "status" ? Selector::status : Selector::prepareForUninstall;
  if (words.size() > 2) {
    if (verb == "mode" || verb == "target") {
      arguments.push_back(std::stoi(words.at(3)));
      if (verb == "mode") {
        arguments.push_back(words.at(4) == "manual");
      } else {
        arguments.push_back(std::stoll(words.at(4)));
      }
    }
    arguments.push_back(sessionIDOf(words.at(2)));
    selector = verb == "begin"   ? Selector::beginSession
               : verb == "beat"  ? Selector::heartbeat
               : verb == "reset" ? Selector::resetAll
               : verb == "end"   ? Selector::endSession
               : verb == "mode"  ? Selector::setFanMode
                                 : Selector::setFanTargetRPM;
  }
  auto answer = std::make_shared<Answer>();
  rig_.send(words.at(1)[0], std::string(selector), arguments, [answer](const HelperReply& reply) {
    ++answer->count;
    answer->reply = reply;
  });
  return answer;
}

void HelperScript::judge(Answer& answer, const std::string& wanted) {
  if (wanted == "open") {
    expect(answer.count == 0, "no answer yet");
    return;
  }
  rig_.scheduler.runUntil([&] { return answer.count > 0; }, Seconds{60});
  expect(answer.count == 1, fmt::format("{} answers", answer.count));
  const auto& error = answer.reply.error;
  std::string text;
  if (error && error->userInfo.contains(localizedDescriptionKey))
    text = error->userInfo.find(localizedDescriptionKey)->second;
  if (wanted == "ok") {
    expect(!error, "refused: " + text);
    return;
  }
  const std::string code = wanted.substr(0, wanted.find(' '));
  const std::string part = code.size() < wanted.size() ? wanted.substr(code.size() + 1) : "";
  const bool isCode =
      error && error->domain == HelperXPCError::domain && HelperXPCError::codeFromRaw(error->code) == codes.at(code);
  expect(isCode && answer.reply.value.is_null(),
         fmt::format("{} instead: {} {}", code, error ? error->code : -1, text));
  expect(text.find(part) != std::string::npos, "another text: " + text);
}

void HelperScript::expect(bool holds, const std::string& what) {
  if (!holds && failure_.empty()) failure_ = "not so: " + what;
}

bool HelperScript::holds(const std::string& condition) {
  if (condition.starts_with("not ")) return !holds(condition.substr(4));
  const Words words = wordsIn(condition);
  const std::string& name = words[0];
  const auto begin = rig_.writes.begin() + static_cast<std::ptrdiff_t>(mark_);
  const auto modesAre = [&](int first, int second) { return rig_.modes() == std::vector<int>{first, second}; };
  if (name == "automatic") return modesAre(0, 0);
  if (name == "manual") return modesAre(1, 1);
  if (name == "modes") return modesAre(std::stoi(words.at(1)), std::stoi(words.at(2)));
  if (name == "session") return rig_.hasSession();
  if (name == "locked") return !rig_.lockIsFree();
  if (name == "running") return !rig_.finished;
  if (name == "exited") return rig_.finished == std::stoi(words.at(1));
  if (name == "unwritten") return begin == rig_.writes.end();
  if (name == "logged") return rig_.log.contains(condition.substr(7));
  if (name == "handbacks" || name == "targets") {
    return std::none_of(begin, rig_.writes.end(), [&](const AcceptedWrite& write) {
      return name == "targets" ? write.key.ends_with("Tg") : !write.key.ends_with("Md") || write.value != 0;
    });
  }
  if (name == "wrote") {
    const auto count =
        std::count_if(begin, rig_.writes.end(), [&](const auto& write) { return write.key == words.at(1); });
    return words.size() > 2 ? count == std::stoi(words[2]) : count > 0;
  }
  throw std::invalid_argument("no condition " + condition);
}

}  // namespace halcyra::test
