#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

#include "gtest/gtest.h"

#include "Client/TelemetryPoller.h"
#include "Support/InProcessMachServices.h"
#include "Support/ScriptedIOKit.h"
#include "Support/TestPlatform.h"
#include "Support/VirtualScheduler.h"

namespace halcyra::test {

namespace {

std::vector<std::uint8_t> floatBytes(float value) {
  std::vector<std::uint8_t> bytes(sizeof value);
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

/// The scripted driver with a hook before every call that concerns a key, on the thread that calls.
class HookedIOKit : public ScriptedIOKit {
 public:
  kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                          std::size_t inputSize, void* output, std::size_t* outputSize) override {
    std::uint32_t key = 0;
    std::memcpy(&key, input, sizeof key);
    if (hook) hook(stringFromCode(key));
    return ScriptedIOKit::IOConnectCallStructMethod(connection, selector, input, inputSize, output, outputSize);
  }

  std::function<void(const std::string& key)> hook;
};

struct Delivery {
  TelemetryResult result;
  double at = 0;
  std::thread::id thread;
};

class TelemetryPollerTest : public ::testing::Test {
 protected:
  TelemetryPollerTest()
      : process_(scheduler_.makeProcess("application")),
        bus_(scheduler_),
        doubles_(process_, iokit_, bus_.client(process_)),
        poller_(std::make_unique<TelemetryPoller>(doubles_.platform)) {
    iokit_.setKey("#KEY", "ui32", {0, 0, 0, 8});
    for (const SMCKey key : SensorReader::m3CPUCoreKeys) setFloat(stringFromKey(key), 50);
    for (const SMCKey key : SensorReader::m3GPUClusterKeys) setFloat(stringFromKey(key), 40);
    setFloat(otherSensor, 30);
  }

  void setFloat(const std::string& key, float value) {
    iokit_.setKey(key, "flt ", floatBytes(value));
    ++keyCount_;
    iokit_.key("#KEY").bytes = {0, 0, 0, static_cast<std::uint8_t>(keyCount_)};
  }
  void addFan(int index) {
    const std::string name = "F" + std::to_string(index);
    setFloat(name + "Ac", 1500);
    setFloat(name + "Mn", 1200);
    setFloat(name + "Mx", 5000);
    setFloat(name + "Tg", 1600);
    iokit_.setKey(name + "Md", "ui8 ", {0});
    ++keyCount_;
  }
  void loseKey(const std::string& key) { iokit_.fail(SMCParamStruct::readBytes, key, {.result = 0x84}); }
  void read() {
    poller_->read([this](TelemetryResult result) {
      deliveries_.push_back({std::move(result), scheduler_.elapsed().count(), std::this_thread::get_id()});
    });
  }
  /// One read to its end; there must be exactly one result.
  TelemetryResult readOnce() {
    deliveries_.clear();
    read();
    scheduler_.runFor(Seconds{1});
    EXPECT_EQ(deliveries_.size(), 1U);
    return deliveries_.empty() ? TelemetryResult{Error("none", 0)} : deliveries_.front().result;
  }
  std::string failureText(const TelemetryResult& result) {
    const auto* error = std::get_if<Error>(&result);
    return error != nullptr ? error->localizedDescription() : "success";
  }

  static constexpr const char* otherSensor = "TB0T";

  VirtualScheduler scheduler_;
  std::shared_ptr<VirtualProcess> process_;
  HookedIOKit iokit_;
  InProcessMachServices bus_;
  TestPlatform doubles_;
  std::vector<Delivery> deliveries_;
  int keyCount_ = 1;
  std::unique_ptr<TelemetryPoller> poller_;
};

}  // namespace

TEST_F(TelemetryPollerTest, ReadsEverything) {
  addFan(0);
  addFan(1);
  iokit_.key("F1Md").bytes = {1};
  doubles_.serviceManagement.setDaemonStatus(ServiceManagement::requiresApproval);
  EXPECT_EQ(iokit_.opens(), 0) << "not opened by itself";
  poller_->open();
  EXPECT_EQ(iokit_.opens(), 1);
  const TelemetryResult result = readOnce();
  const auto* snapshot = std::get_if<TelemetrySnapshot>(&result);
  ASSERT_NE(snapshot, nullptr) << failureText(result);
  ASSERT_EQ(snapshot->fans.size(), 2U);
  EXPECT_EQ(snapshot->fans[0], (FanInfo{0, 1500, 1200, 5000, FanMode::automatic, 1600}));
  EXPECT_EQ(snapshot->fans[1], (FanInfo{1, 1500, 1200, 5000, FanMode::manual, 1600}));
  EXPECT_DOUBLE_EQ(snapshot->average.temperature, 50);
  EXPECT_EQ(snapshot->average.gpuAverageTemperature, 40);
  EXPECT_EQ(snapshot->readings.size(), 25U);
  EXPECT_EQ(snapshot->helperState, HelperInstallState::requiresApproval);
  const std::vector<int> commands = iokit_.commands();
  EXPECT_EQ(std::count(commands.begin(), commands.end(), SMCParamStruct::writeBytes), 0)
      << "it reads, and nothing else";
  poller_->close();
  EXPECT_EQ(iokit_.openConnections(), 0);
}

TEST_F(TelemetryPollerTest, NeverDeliversAPartialSnapshot) {
  addFan(0);
  addFan(1);
  poller_->open();
  ASSERT_TRUE(std::holds_alternative<TelemetrySnapshot>(readOnce()));
  loseKey("F1Ac");
  const TelemetryResult oneMissing = readOnce();
  EXPECT_EQ(failureText(oneMissing), "SMC read failed: Fan telemetry is incomplete (1 of 2 fans)");
  ASSERT_TRUE(std::holds_alternative<Error>(oneMissing));
  EXPECT_EQ(std::get<Error>(oneMissing).domain, SMCError::errorDomain);
  EXPECT_EQ(std::get<Error>(oneMissing).code, static_cast<std::int64_t>(SMCError::Case::readFailed));
  loseKey("F0Mx");
  EXPECT_EQ(failureText(readOnce()), "SMC read failed: Fan telemetry is incomplete (0 of 2 fans)");
  iokit_.clearFailures();
  EXPECT_TRUE(std::holds_alternative<TelemetrySnapshot>(readOnce())) << "the next read starts afresh";
  loseKey("F0Tg");
  EXPECT_TRUE(std::holds_alternative<TelemetrySnapshot>(readOnce())) << "a fan without its target is complete";
}

TEST_F(TelemetryPollerTest, FailsWithTheAggregate) {
  poller_->open();
  ASSERT_TRUE(std::holds_alternative<TelemetrySnapshot>(readOnce())) << "a machine without fans is complete";
  for (const SMCKey key : SensorReader::m3CPUCoreKeys) loseKey(stringFromKey(key));
  const TelemetryResult result = readOnce();
  ASSERT_TRUE(std::holds_alternative<Error>(result));
  EXPECT_EQ(std::get<Error>(result).domain, SMCError::errorDomain);
  EXPECT_EQ(failureText(result).find("Fan telemetry"), std::string::npos);
}

TEST_F(TelemetryPollerTest, DoesWithoutTheFullList) {
  addFan(0);
  poller_->open();
  ASSERT_TRUE(std::holds_alternative<TelemetrySnapshot>(readOnce()));
  iokit_.hook = [&](const std::string& key) {
    if (key == otherSensor) throw std::runtime_error("driver bug");
  };
  const TelemetryResult result = readOnce();
  const auto* snapshot = std::get_if<TelemetrySnapshot>(&result);
  ASSERT_NE(snapshot, nullptr) << failureText(result);
  EXPECT_TRUE(snapshot->readings.empty());
  EXPECT_EQ(snapshot->fans.size(), 1U);
  EXPECT_DOUBLE_EQ(snapshot->average.temperature, 50);
}

TEST_F(TelemetryPollerTest, OpenFailuresAreThrownAndEachReadTriesAgain) {
  addFan(0);
  iokit_.hasService = false;
  EXPECT_THROW(poller_->open(), SMCError);
  const TelemetryResult result = readOnce();
  ASSERT_TRUE(std::holds_alternative<Error>(result));
  EXPECT_EQ(failureText(result), "AppleSMC service was not found");
  iokit_.hasService = true;
  const TelemetryResult opened = readOnce();
  ASSERT_TRUE(std::holds_alternative<TelemetrySnapshot>(opened)) << failureText(opened);
  EXPECT_EQ(std::get<TelemetrySnapshot>(opened).fans.size(), 1U) << "the earlier failure is not remembered";
  poller_->close();
  EXPECT_EQ(failureText(readOnce()), SMCError::notOpen().errorDescription());
}

TEST_F(TelemetryPollerTest, ADriverThatFailsAtFirstHidesNoFansForEver) {
  addFan(0);
  poller_->open();
  iokit_.hook = [](const std::string&) { throw SMCError::readFailed("not yet"); };
  EXPECT_NE(failureText(readOnce()), "success");
  iokit_.hook = [](const std::string&) { throw std::runtime_error("driver bug"); };
  EXPECT_NE(failureText(readOnce()), "success") << "whatever is thrown";
  iokit_.hook = {};
  const TelemetryResult result = readOnce();
  ASSERT_TRUE(std::holds_alternative<TelemetrySnapshot>(result)) << failureText(result);
  EXPECT_EQ(std::get<TelemetrySnapshot>(result).fans.size(), 1U);
  readOnce();
  EXPECT_EQ(doubles_.log.count("probed hardware: 1 fan(s)"), 1U) << "what was found is kept";
}

TEST_F(TelemetryPollerTest, AFailureInTheMiddleOfTheFirstLookHidesNoFan) {
  addFan(0);
  addFan(1);
  poller_->open();
  const auto fansAfter = [&](int failures) {
    iokit_.hook = [left = failures](const std::string& key) mutable {
      if (key.starts_with("F1") && left-- > 0) throw SMCError::readFailed("not now");
    };
    const TelemetryResult result = readOnce();
    const auto* snapshot = std::get_if<TelemetrySnapshot>(&result);
    return snapshot != nullptr ? snapshot->fans.size() : 0;
  };
  constexpr int everyCallOfAProbe = 2 * (3 + 2);
  EXPECT_EQ(fansAfter(everyCallOfAProbe), 0U) << "a machine with one fan was delivered";
  EXPECT_EQ(fansAfter(0), 2U) << "asked for again";
  poller_ = std::make_unique<TelemetryPoller>(doubles_.platform);
  poller_->open();
  iokit_.fail(SMCParamStruct::readKeyInfo, "F5Ac", {.status = kIOReturnError});
  EXPECT_EQ(fansAfter(0), 0U);
  EXPECT_EQ(fansAfter(0), 2U) << "what never answers is given up";
  EXPECT_EQ(fansAfter(0), 2U);
  iokit_.clearFailures();
  poller_ = std::make_unique<TelemetryPoller>(doubles_.platform);
  poller_->open();
  EXPECT_EQ(fansAfter(1), 2U) << "a single failure hides nothing";
  EXPECT_EQ(fansAfter(0), 2U);
}

TEST_F(TelemetryPollerTest, ReadsOnItsOwnQueueOneAfterAnother) {
  std::thread::id mainThread;
  process_->mainQueue().sync([&] { mainThread = std::this_thread::get_id(); });
  std::vector<std::thread::id> readers;
  addFan(0);
  poller_->open();
  readOnce();
  deliveries_.clear();
  iokit_.hook = [&](const std::string& key) {
    readers.push_back(std::this_thread::get_id());
    if (key == "F0Ac") process_->clock().sleep(Seconds{0.5});
  };
  const double start = scheduler_.elapsed().count();
  process_->mainQueue().async([&] {
    read();
    read();
    EXPECT_TRUE(deliveries_.empty()) << "the caller is never blocked";
    EXPECT_EQ(scheduler_.elapsed().count(), start);
  });
  scheduler_.runFor(Seconds{10});
  ASSERT_EQ(deliveries_.size(), 2U);
  EXPECT_GE(deliveries_[0].at - start, 0.5);
  EXPECT_DOUBLE_EQ(deliveries_[1].at - start, 2 * (deliveries_[0].at - start));
  for (const Delivery& delivery : deliveries_) {
    EXPECT_NE(delivery.thread, mainThread);
    EXPECT_NE(delivery.thread, std::this_thread::get_id());
    EXPECT_EQ(delivery.thread, readers.front());
  }
  EXPECT_EQ(std::count(readers.begin(), readers.end(), readers.front()), static_cast<long>(readers.size()));
}

TEST_F(TelemetryPollerTest, ClosingDoesNotWaitForTheRestOfASlowRead) {
  addFan(0);
  poller_->open();
  iokit_.hook = [&](const std::string&) { process_->clock().sleep(Seconds{1}); };
  read();
  scheduler_.runFor(Seconds{4.5});
  std::optional<double> closed;
  process_->mainQueue().async([&] {
    poller_->close();
    closed = scheduler_.elapsed().count();
  });
  scheduler_.runFor(Seconds{10});
  ASSERT_TRUE(closed) << "still reading";
  EXPECT_LE(*closed, 5.5) << "no more than the call under way";
  ASSERT_EQ(deliveries_.size(), 1U);
  EXPECT_NE(failureText(deliveries_[0].result), "success");
  EXPECT_EQ(iokit_.openConnections(), 0);
}

TEST_F(TelemetryPollerTest, ItsEndWaitsForTheReadUnderWay) {
  addFan(0);
  poller_->open();
  iokit_.hook = [&](const std::string& key) {
    if (key == "F0Ac") process_->clock().sleep(Seconds{2});
  };
  read();
  read();
  scheduler_.runFor(Seconds{1});
  poller_.reset();
  EXPECT_EQ(deliveries_.size(), 1U) << "the read under way is completed, the one behind it dropped";
  EXPECT_EQ(iokit_.openConnections(), 0);
  scheduler_.runFor(Seconds{10});
  EXPECT_EQ(deliveries_.size(), 1U);
}

}  // namespace halcyra::test
