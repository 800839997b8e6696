// The Mac's driver calls and power events over doubles of the kernel's, with the simulated machine behind them.

#include "gtest/gtest.h"

#include "Apple/Doubles/IOKitSystem.h"
#include "Apple/Doubles/Pump.h"
#include "Platform/Apple/AppleIOKit.h"
#include "Platform/Apple/SystemPowerEvents.h"
#include "SMC/IOKitSMCBridge.h"
#include "Support/CapturingLogSink.h"
#include "Support/ManualClock.h"
#include "Support/VirtualMacIOKit.h"

namespace halcyra::test {
namespace {

TEST(AppleIOKitTests, TheBridgeReadsAndWritesThroughTheSystemsCallsAndLeavesNothingOpen) {
  ManualClock clock;
  VirtualMac machine({}, makeWorkload("idle"));
  VirtualMacIOKit driver(machine, clock, true);
  AppleIOKit iokit;
  IOKitSystem::setDriver(nullptr);
  IOKitSMCBridge bridge(iokit, clock, SMCWriteCapability::privilegedHelper, nullptr);
  EXPECT_THROW(bridge.open(), SMCError);
  IOKitSystem::setDriver(&driver);
  bridge.open();
  EXPECT_EQ(driver.heldServices(), 0U);
  EXPECT_EQ(driver.openConnections(), 1U);
  IOKitSMCBridge direct(driver, clock, SMCWriteCapability::disabled, nullptr);
  direct.open();
  EXPECT_GT(bridge.getKeyCount(), 100U);
  EXPECT_EQ(bridge.getKeyCount(), direct.getKeyCount());
  bridge.writeKey(IOKitSMCBridge::keyFromString("Ftst"), SMCValue::makeUInt8(1));
  EXPECT_EQ(direct.readKey(IOKitSMCBridge::keyFromString("Ftst")), SMCValue::makeUInt8(1));
  driver.applyFault("driver-gone");
  EXPECT_THROW(bridge.getKeyCount(), SMCError);
  driver.applyFault("clear");
  bridge.close();
  direct.close();
  EXPECT_EQ(driver.openConnections(), 0U);
  EXPECT_EQ(iokit.IOServiceGetMatchingService(kIOMainPortDefault, iokit.IOServiceMatching(nullptr)), 0U);
  EXPECT_EQ(IOKitSystem::openDictionaries(), 0);
}

TEST(SystemPowerEventsTests, SleepWaitsForThePermissionAndNothingAnswersTwice) {
  using IOKitSystem::PowerMessage;
  PumpedQueue main;
  CapturingLogSink log;
  std::vector<std::string> seen;
  std::function<void()> allow;
  {
    SystemPowerEvents power(main, log);
    const auto announce = [](PowerMessage message) {
      const long number = IOKitSystem::announce(message);
      Pump::run();
      return number;
    };
    EXPECT_TRUE(IOKitSystem::isAllowed(announce(PowerMessage::willSleep))) << "nobody waits for it";
    power.observe(
        [&](std::function<void()> permission) {
          seen.emplace_back("sleep");
          allow = std::move(permission);
        },
        [&] { seen.emplace_back("wake"); });
    EXPECT_TRUE(IOKitSystem::isAllowed(announce(PowerMessage::mayISleep)));
    const long sleep = announce(PowerMessage::willSleep);
    EXPECT_FALSE(IOKitSystem::isAllowed(sleep));
    allow();
    allow();
    EXPECT_TRUE(IOKitSystem::isAllowed(sleep));
    announce(PowerMessage::wakes);
    EXPECT_EQ(seen, (std::vector<std::string>{"sleep", "wake"}));
    const long forgotten = announce(PowerMessage::willSleep);
    allow = nullptr;
    EXPECT_TRUE(IOKitSystem::isAllowed(forgotten)) << "a permission that nobody can give any more";
    announce(PowerMessage::willSleep);
  }
  EXPECT_TRUE(IOKitSystem::isObserved()) << "the last answer is still out";
  allow();
  allow = nullptr;
  EXPECT_FALSE(IOKitSystem::isObserved());
}

}  // namespace
}  // namespace halcyra::test
