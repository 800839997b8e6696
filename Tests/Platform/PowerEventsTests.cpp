// Sleep and wake against a logind of the test's own, on a bus of the test's own.

#include <array>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "gtest/gtest.h"

#include "Platform/Linux/LinuxActivityAssertions.h"
#include "Platform/Linux/LogindPowerEvents.h"
#include "Platform/Linux/ThreadQueue.h"
#include "Platform/PlatformTestSupport.h"
#include "sdbus-c++/sdbus-c++.h"

namespace halcyra::test {
namespace {

/// Hands out inhibitors; each is reported with a descriptor that tells when it has been given up.
class FakeLogind {
 public:
  struct Inhibitor {
    std::string what;
    std::string mode;
    int readEnd;

    bool isHeld() const { return !gone(0); }
    void awaitRelease() const { EXPECT_TRUE(gone(60'000)) << "the inhibitor is still held"; }

   private:
    bool gone(int milliseconds) const {
      pollfd waiting{readEnd, 0, 0};
      return poll(&waiting, 1, milliseconds) == 1;
    }
  };

  explicit FakeLogind(const std::string& address) : bus_(busOpener(address)) {
    Inbox<bool> ready;
    bus_.post([&] {
      sdbus::IConnection& connection = bus_.connection();
      bus_.onLoss(owner_, [this] { object_.reset(); });
      object_ = sdbus::createObject(connection, "/org/freedesktop/login1");
      object_->registerMethod(interface, "Inhibit", "ssss", "h", [this](sdbus::MethodCall call) { inhibit(call); });
      object_->registerSignal(interface, "PrepareForSleep", "b");
      object_->registerProperty(interface, "PreparingForSleep", "b", [this](sdbus::PropertyGetReply& reply) {
        reply << preparing_;
        questions.put(preparing_);
      });
      object_->finishRegistration();
      connection.requestName("org.freedesktop.login1");
      ready.put(true);
    });
    ready.next();
  }

  void announce(bool sleep) { announce(sleep, sleep); }
  /// A notice, and what is answered to those who ask.
  void announce(bool sleep, bool preparing) {
    bus_.post([this, sleep, preparing] {
      preparing_ = preparing;
      auto signal = object_->createSignal(interface, "PrepareForSleep");
      signal << sleep;
      object_->emitSignal(signal);
    });
  }

  Inbox<Inhibitor> inhibitors;
  /// What those who asked for the state were answered.
  Inbox<bool> questions;

 private:
  static constexpr const char* interface = "org.freedesktop.login1.Manager";

  void inhibit(sdbus::MethodCall& call) {
    std::string what;
    std::string who;
    std::string why;
    std::string mode;
    call >> what >> who >> why >> mode;
    std::array<int, 2> pipe{};
    ASSERT_EQ(pipe2(pipe.data(), O_CLOEXEC), 0);
    auto reply = call.createReply();
    reply << sdbus::UnixFd(pipe[1], sdbus::adopt_fd);
    reply.send();
    inhibitors.put({what, mode, pipe[0]});
  }

  bool preparing_ = false;
  std::shared_ptr<int> owner_ = std::make_shared<int>(0);
  std::unique_ptr<sdbus::IObject> object_;
  BusThread bus_;
};

class PowerEventsTests : public testing::Test {
 protected:
  void observe() {
    power_.observe([this](std::function<void()> allow) { sleeps_.put(std::move(allow)); },
                   [this] { wakes_.put(true); });
  }
  std::string uniqueName() {
    Inbox<std::string> name;
    busThread_.post([&] { name.put(busThread_.connection().getUniqueName()); });
    return name.next();
  }
  /// Waits until the connection has handled what was sent to it so far.
  static void drain(sdbus::IConnection& from, const std::string& target) {
    const auto peer = sdbus::createProxy(from, target, "/");
    peer->callMethod("Ping").onInterface("org.freedesktop.DBus.Peer");
  }

  TemporaryFolder folder_;
  PrivateBus bus_{folder_.path()};
  CapturedLog log_;
  Inbox<std::function<void()>> sleeps_;
  Inbox<bool> wakes_;
  ThreadQueue main_{"main", QualityOfService::standard};
  BusThread busThread_{busOpener(bus_.address())};
  LogindPowerEvents power_{busThread_, main_, log_};
};

TEST_F(PowerEventsTests, TheMachineWaitsUntilTheSleepIsAllowedAndNothingHoldsItUpWithoutObservers) {
  FakeLogind logind(bus_.address());
  observe();
  const auto inhibitor = logind.inhibitors.next();
  EXPECT_EQ(inhibitor.what, "sleep");
  EXPECT_EQ(inhibitor.mode, "delay");
  logind.announce(true);
  const auto allow = sleeps_.next();
  EXPECT_TRUE(inhibitor.isHeld());
  allow();
  inhibitor.awaitRelease();
  logind.announce(false);
  EXPECT_TRUE(wakes_.next());
  const auto next = logind.inhibitors.next();
  allow();  // the permission for an earlier sleep
  logind.announce(true);
  const auto allowNext = sleeps_.next();
  EXPECT_TRUE(next.isHeld()) << "an old permission gave up the new inhibitor";
  allowNext();
  next.awaitRelease();
  logind.announce(false);
  const auto unobserved = logind.inhibitors.next();
  power_.observe(nullptr, nullptr);
  unobserved.awaitRelease();
  observe();
  const auto again = logind.inhibitors.next();
  logind.announce(true);
  sleeps_.next()();
  again.awaitRelease();
  EXPECT_EQ(sleeps_.size(), 0U) << "a sleep was delivered twice";
  EXPECT_TRUE(log_.records().empty());
}

TEST_F(PowerEventsTests, ALogindThatComesLaterOrAfterTheLossOfTheBusIsFound) {
  observe();
  EXPECT_TRUE(log_.awaitText("no notice of sleep"));
  {
    FakeLogind logind(bus_.address());
    const auto inhibitor = logind.inhibitors.next();
    EXPECT_EQ(log_.records().size(), 1U) << "the log spoke once";
    bus_.kill();
    inhibitor.awaitRelease();
  }
  bus_.start();
  FakeLogind successor(bus_.address());
  const auto inhibitor = successor.inhibitors.next();
  successor.announce(true);
  sleeps_.next()();
  inhibitor.awaitRelease();
}

TEST_F(PowerEventsTests, ALogindThatComesAnewDuringTheSleepDoesNotLoseTheWake) {
  observe();
  {
    FakeLogind logind(bus_.address());
    const auto inhibitor = logind.inhibitors.next();
    logind.announce(true);
    sleeps_.next()();
    inhibitor.awaitRelease();
  }
  FakeLogind successor(bus_.address());
  EXPECT_TRUE(wakes_.next());
  bus_.kill();
  bus_.start();
  FakeLogind third(bus_.address());
  third.inhibitors.next();
  third.announce(true);
  sleeps_.next()();
  EXPECT_EQ(wakes_.size(), 0U) << "the machine was awake";
}

TEST_F(PowerEventsTests, AnnouncementsOfOthersAreNotBelieved) {
  FakeLogind logind(bus_.address());
  observe();
  const auto inhibitor = logind.inhibitors.next();
  const auto forger = sdbus::createSessionBusConnectionWithAddress(bus_.address());
  const auto logindObject = sdbus::createObject(*forger, "/org/freedesktop/login1");
  const auto busObject = sdbus::createObject(*forger, "/org/freedesktop/DBus");
  // To the connection that waits, whose unique name is the helper's or the application's on a real bus.
  const auto target = uniqueName();
  const auto forgeSleep = [&](bool sleep) {
    auto signal = logindObject->createSignal("org.freedesktop.login1.Manager", "PrepareForSleep");
    signal << sleep;
    signal.setDestination(target);
    signal.send();
  };
  const auto forgeOwner = [&](const std::string& after) {
    auto signal = busObject->createSignal("org.freedesktop.DBus", "NameOwnerChanged");
    signal << std::string("org.freedesktop.login1") << std::string(":1.0") << after;
    signal.setDestination(target);
    signal.send();
  };
  forgeSleep(true);
  forgeOwner(forger->getUniqueName());
  forgeSleep(true);
  drain(*forger, target);
  EXPECT_TRUE(inhibitor.isHeld());
  logind.announce(true);
  sleeps_.next()();
  inhibitor.awaitRelease();
  forgeSleep(false);
  drain(*forger, target);
  logind.announce(false);
  EXPECT_TRUE(wakes_.next());
  logind.inhibitors.next();
  EXPECT_EQ(sleeps_.size(), 0U) << "a forged sleep was believed";
  EXPECT_EQ(wakes_.size(), 0U) << "a forged wake was believed";
}

TEST_F(PowerEventsTests, WhatIsAnnouncedIsAskedOfLogindItself) {
  FakeLogind logind(bus_.address());
  observe();
  logind.inhibitors.next();
  logind.questions.next();
  // Each notice is asked about before the next one comes.
  logind.announce(true, false);
  EXPECT_FALSE(logind.questions.next());
  logind.announce(true);
  sleeps_.next();
  logind.questions.next();
  logind.announce(false, true);
  EXPECT_TRUE(logind.questions.next());
  logind.announce(false);
  EXPECT_TRUE(wakes_.next());
  EXPECT_EQ(sleeps_.size(), 0U) << "a sleep that logind knows nothing of";
  EXPECT_EQ(wakes_.size(), 0U) << "a wake that logind knows nothing of";
}

TEST_F(PowerEventsTests, AnActivityHoldsUpTheShutdownWhileItLasts) {
  FakeLogind logind(bus_.address());
  LinuxActivityAssertions activities(busThread_);
  auto assertion = activities.beginActivity(ActivityOptions::userInitiatedAllowingIdleSystemSleep, "reason");
  const auto inhibitor = logind.inhibitors.next();
  EXPECT_EQ(inhibitor.what, "shutdown");
  EXPECT_EQ(inhibitor.mode, "delay");
  assertion.reset();
  inhibitor.awaitRelease();
  // Released before logind could answer, and without any logind: no effect, no failure.
  activities.beginActivity(ActivityOptions::userInitiatedAllowingIdleSystemSleep, "short").reset();
  logind.inhibitors.next().awaitRelease();
  BusThread nowhere(busOpener("unix:path=" + (folder_ / "none").string()));
  LinuxActivityAssertions without(nowhere);
  EXPECT_NE(without.beginActivity(ActivityOptions::userInitiatedAllowingIdleSystemSleep, "none"), nullptr);
}

}  // namespace
}  // namespace halcyra::test
