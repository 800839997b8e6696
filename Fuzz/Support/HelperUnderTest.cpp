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

/// Seconds. A hand-back may take as long as a latch, and is repeated every other second.
constexpr double handBackTime = 11;
constexpr double step = 0.5;
/// The watchdog's 12 s begin when the session is open, which takes a moment.
constexpr double silenceTime = 14;
/// Until a daemon that nobody needs has ended: what is under way, a hand-back, the idle time.
constexpr double endingTime = 120;

/// Those by which a key's reading is wrong, not refused.
constexpr std::array<std::string_view, 6> lyingFaults = {"garbage", "value", "nan", "inf", "freeze", "jump"};

bool isStranger(const FanControlHelperCaller& caller) {
  return caller.userID == test::HelperRig::caller('3').userID;
}

bool mentions(const std::string& text, const char* word) {
  return text.find(word) != std::string::npos;
}

}  // namespace

HelperUnderTest::HelperUnderTest() {
  rig_.onWrite = [this](const test::AcceptedWrite& write) { noteWrite(write); };
  rig_.start();
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
  rig_.kill();
  rig_.start();
}

void HelperUnderTest::send(char caller, const std::string& selector, const PropertyList& arguments) {
  rig_.start();
  auto message = std::make_shared<Message>(Message{test::HelperRig::caller(caller)});
  messages_.push_back(message);
  lastMessage_ = now();
  rig_.send(caller, selector, arguments,
            [this, message](const test::HelperReply& reply) { checkAnswer(*message, reply); });
  rig_.scheduler.runPending();
}

void HelperUnderTest::clientGone(char caller) {
  rig_.clientGone(caller);
  rig_.scheduler.runPending();
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
    rig_.observer.applyFault(isForeign ? "clear" : command.starts_with("latch-delay") ? "latch-delay 9" : command);
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
    rig_.scheduler.runFor(Seconds{std::min(left, step)});
    checkOwnership();
  }
}

// A call that takes long sleeps between the check of the session and the write.
void HelperUnderTest::noteWrite(const test::AcceptedWrite& write) {
  const auto& [key, value, at] = write;
  const bool isTarget = key.ends_with("Tg");
  const bool drives = isTarget || (key.ends_with("Md") && value == VirtualFan::manualMode);
  expect(!drives || rig_.hasSession() || callsAreSlow_, "no fan is driven without a session");
  if (isTarget && !limitsLie_) {
    const VirtualFanState fan = rig_.machine.state().fans.at(static_cast<std::size_t>(key[1] - '0'));
    expect(value >= fan.minimum && value <= fan.maximum, "a target lies within the fan's limits");
  }
}

void HelperUnderTest::checkOwnership() {
  if (rig_.hasSession()) {
    lastSession_ = now();
  }
  const bool isSilent = !hadFaults_ && now() - lastMessage_ > silenceTime;
  expect(!isSilent || !rig_.hasSession(), "a session without heartbeats ends");
  const bool isDue = !hadFaults_ && now() - lastSession_ > handBackTime;
  expect(!isDue || isAutomatic(), "without a session the firmware has its fans");
}

bool HelperUnderTest::isAutomatic() {
  return std::ranges::count(rig_.modes(), VirtualFan::manualMode) == 0;
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
  rig_.observer.applyFault("clear");
  for (const char caller : {'0', '1', '2', '3'}) {
    clientGone(caller);
  }
  if (rig_.finished && *rig_.finished != 0) {
    // A helper that gave up on the driver is started again, as its service manager does it.
    rig_.start();
  }
  expect(rig_.scheduler.runUntil([this] { return rig_.finished.has_value(); }, Seconds{endingTime}),
         "a helper that nobody needs ends");
  expect(isAutomatic(), "in the end the firmware has its fans");
  for (const auto& message : messages_) {
    expect(message->answers == 1 || message->isLost, "every message is answered");
  }
}

}  // namespace halcyra::fuzz
