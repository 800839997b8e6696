#include "Support/HelperUnderTest.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "Support/Expect.h"
#include "VirtualMac/Fault.h"
#include "VirtualMac/VirtualFan.h"
#include "XPC/HelperXPCError.h"

namespace halcyra::fuzz {

namespace {

constexpr std::uint32_t registeredUser = 501;
/// Seconds. A hand-back may take as long as a latch, and is repeated every other second.
constexpr double handBackTime = 11;
constexpr double step = 0.5;
/// The watchdog's 12 s begin when the session is open, which takes a moment.
constexpr double silenceTime = 14;
/// Until a daemon that nobody needs has ended: what is under way, a hand-back, the idle time.
constexpr double endingTime = 120;

/// Those by which a key's reading is wrong, not refused.
constexpr std::array<std::string_view, 6> lyingFaults = {"garbage", "value", "nan", "inf", "freeze", "jump"};

FanControlHelperCaller callerFor(char name) {
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

bool isStranger(const FanControlHelperCaller& caller) {
  return caller.userID == registeredUser + 1;
}

bool mentions(const std::string& text, const char* word) {
  return text.find(word) != std::string::npos;
}

}  // namespace

/// Takes the handlers; what a bus does with them is done by hand.
class HelperUnderTest::Listener : public FanControlHelperListener {
 public:
  void setService(std::weak_ptr<FanControlHelperService> to) override { service = std::move(to); }
  void setClientGoneHandler(std::function<void(const std::string&)> handler) override { gone = std::move(handler); }
  void setLostHandler(std::function<void()>) override {}
  void resume() override {}

  std::weak_ptr<FanControlHelperService> service;
  std::function<void(const std::string&)> gone;
};

HelperUnderTest::HelperUnderTest()
    : machine_({}, makeWorkload("idle")), observer_(machine_, scheduler_.clock(), false) {
  machine_.setWriteObserver([this](const std::string& key, double value) { noteWrite(key, value); });
  startIfNeeded();
}

HelperUnderTest::~HelperUnderTest() {
  end();
}

void HelperUnderTest::startIfNeeded() {
  if (daemon_ != nullptr && !exitStatus_) {
    return;
  }
  end();
  process_ = scheduler_.makeProcess("helper");
  iokit_ = std::make_unique<test::VirtualMacIOKit>(machine_, process_->clock(), true);
  listener_ = std::make_unique<Listener>();
  exitStatus_.reset();
  daemon_ = HelperDaemon::make({process_->clock(), *process_, log_, *iokit_},
                               {(folder_.path() / "control.lock").string(), {}, {registeredUser}},
                               [this](int status) { exitStatus_ = status; });
  daemon_->serve(*listener_);
  process_->mainQueue().async([daemon = std::weak_ptr(daemon_)] {
    if (const auto self = daemon.lock()) self->start();
  });
  scheduler_.runPending();
}

void HelperUnderTest::end() {
  if (process_ != nullptr) {
    process_->kill();
    daemon_.reset();
    endedDrivers_.push_back(std::move(iokit_));
  }
}

// Killed as here, without the service manager's --release-all, a helper leaves its successor the mode keys alone to go
// by.
void HelperUnderTest::restart() {
  if (modesLie_) {
    return;
  }
  wasKilled_ = true;
  for (const auto& message : messages_) {
    message->isLost = message->isLost || message->answers == 0;
  }
  end();
  startIfNeeded();
}

void HelperUnderTest::send(char caller, const std::string& selector, const PropertyList& arguments) {
  startIfNeeded();
  auto message = std::make_shared<Message>(Message{callerFor(caller)});
  messages_.push_back(message);
  lastMessage_ = now();
  process_->mainQueue().async([this, message, selector, arguments] {
    const auto check = [this, message](const test::HelperReply& reply) { checkAnswer(*message, reply); };
    try {
      test::deliverMessage(*listener_->service.lock(), message->caller, selector, arguments, check);
    } catch (const std::exception& refused) {
      // No message of the helper's: it does not get as far as the service.
      check({nullptr, HelperXPCError::make(HelperXPCError::Code::internalFailure, "no such message")});
    }
  });
  scheduler_.runPending();
}

void HelperUnderTest::clientGone(char caller) {
  process_->mainQueue().async([this, name = callerFor(caller).connectionName] { listener_->gone(name); });
  scheduler_.runPending();
}

void HelperUnderTest::applyFault(const std::string& command) {
  const bool loses = command.starts_with("never-latch");
  const bool lies = mentions(command, "Md") && std::ranges::any_of(lyingFaults, [&](std::string_view fault) {
                      return command.starts_with(fault);
                    });
  if ((loses && modesLie_) || (lies && (writesAreLost_ || wasKilled_))) {
    return;
  }
  writesAreLost_ = writesAreLost_ || loses;
  modesLie_ = modesLie_ || lies;
  const bool isForeign = mentions(command, "mode");
  try {
    observer_.applyFault(isForeign ? "clear" : command.starts_with("latch-delay") ? "latch-delay 9" : command);
  } catch (const FaultError& error) {
    expectReadable(error.errorDescription());
    return;
  }
  hadFaults_ = true;
  callsAreSlow_ = callsAreSlow_ || mentions(command, "slow");
  limitsLie_ = limitsLie_ || mentions(command, "Mn") || mentions(command, "Mx");
}

void HelperUnderTest::wait(double seconds) {
  for (double left = seconds; left > 0; left -= step) {
    scheduler_.runFor(Seconds{std::min(left, step)});
    checkOwnership();
  }
}

// A call that takes long sleeps between the check of the session and the write.
void HelperUnderTest::noteWrite(const std::string& key, double value) {
  const bool isTarget = key.ends_with("Tg");
  const bool drives = isTarget || (key.ends_with("Md") && value == VirtualFan::manualMode);
  const bool hasSession = daemon_ != nullptr && daemon_->hasSession();
  expect(!drives || hasSession || callsAreSlow_, "no fan is driven without a session");
  if (isTarget && !limitsLie_) {
    const VirtualFanState fan = machine_.state().fans.at(static_cast<std::size_t>(key[1] - '0'));
    expect(value >= fan.minimum && value <= fan.maximum, "a target lies within the fan's limits");
  }
}

void HelperUnderTest::checkOwnership() {
  if (daemon_ != nullptr && daemon_->hasSession()) {
    lastSession_ = now();
  }
  const bool isSilent = !hadFaults_ && now() - lastMessage_ > silenceTime;
  expect(!isSilent || daemon_ == nullptr || !daemon_->hasSession(), "a session without heartbeats ends");
  const bool isDue = !hadFaults_ && now() - lastSession_ > handBackTime;
  expect(!isDue || isAutomatic(), "without a session the firmware has its fans");
}

bool HelperUnderTest::isAutomatic() {
  const auto fans = observer_.state().fans;
  return std::all_of(fans.begin(), fans.end(),
                     [](const VirtualFanState& fan) { return fan.mode != VirtualFan::manualMode; });
}

void HelperUnderTest::checkAnswer(Message& message, const test::HelperReply& reply) {
  expect(++message.answers == 1, "a message has one answer");
  expect(!isStranger(message.caller) || reply.error, "a stranger gets nothing");
  if (reply.error) {
    expect(reply.error->domain == HelperXPCError::domain && HelperXPCError::codeFromRaw(reply.error->code),
           "an error is one of the helper's");
    expectReadable(HelperXPCError::readable(*reply.error).localizedDescription());
    expect(reply.value.is_null(), "an error comes alone");
  }
}

void HelperUnderTest::finish() {
  observer_.applyFault("clear");
  for (const char caller : {'0', '1', '2', '3'}) {
    clientGone(caller);
  }
  if (exitStatus_ && *exitStatus_ != 0) {
    // A helper that gave up on the driver is started again, as its service manager does it.
    startIfNeeded();
  }
  expect(scheduler_.runUntil([this] { return exitStatus_.has_value(); }, Seconds{endingTime}),
         "a helper that nobody needs ends");
  expect(isAutomatic(), "in the end the firmware has its fans");
  for (const auto& message : messages_) {
    expect(message->answers == 1 || message->isLost, "every message is answered");
  }
}

}  // namespace halcyra::fuzz
