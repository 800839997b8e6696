// The helper on a message bus among neighbours that mean it no good.

#include <algorithm>
#include <deque>
#include <filesystem>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "Platform/Linux/DBusHelperConnections.h"
#include "Platform/Linux/DBusHelperListener.h"
#include "Platform/Linux/MessageAdmission.h"
#include "Platform/PlatformTestSupport.h"
#include "Support/HelperMessages.h"
#include "Support/ManualClock.h"
#include "XPC/HelperXPCError.h"
#include "sdbus-c++/sdbus-c++.h"

namespace halcyra::test {
namespace {

constexpr const char* helperName = "com.norwick.Halcyra.helper";
constexpr const char* helperPath = "/com/norwick/Halcyra/helper";
constexpr const char* limitsExceeded = "org.freedesktop.DBus.Error.LimitsExceeded";

/// A queue whose work is done when the test says so.
class HandQueue : public Queue {
 public:
  const std::string& label() const override { return label_; }
  void async(std::function<void()> work) override { waiting.put(std::move(work)); }
  void sync(const std::function<void()>& work) override { work(); }
  std::unique_ptr<Timer> startTimer(Seconds, Seconds, Seconds, std::function<void()>) override { return nullptr; }
  /// Waits for the work, then does it.
  void run(int count) {
    std::vector<std::function<void()>> all;
    for (int i = 0; i < count; ++i) all.push_back(waiting.next());
    for (const auto& work : all) work();
  }

  Inbox<std::function<void()>> waiting;

 private:
  std::string label_ = "hand";
};

class HelperBusTests : public testing::Test {
 protected:
  HelperBusTests() {
    listener_.setService(service_);
    listener_.setClientGoneHandler([this](const std::string& name) { gone_.push_back(name); });
    listener_.setLostHandler([this] { gone_.push_back("bus"); });
    listener_.resume();
  }

  /// A client on a connection to the bus of its own.
  struct Client {
    explicit Client(const std::string& address) : bus(busOpener(address)), helper(bus), connection(helper.connect()) {
      connection->resume();
    }
    HelperErrorReply reply() {
      return [this](std::optional<Error> error) { outcomes.put(std::move(error)); };
    }

    Inbox<std::optional<Error>> outcomes;
    BusThread bus;
    DBusHelperConnections helper;
    std::shared_ptr<FanControlHelperConnection> connection;
  };

  void begin(Client& client) {
    client.connection->beginSession(
        "S", [&](const PropertyList&, std::optional<Error> error) { client.outcomes.put(std::move(error)); });
    queue_.run(1);
    ASSERT_EQ(client.outcomes.next(), std::nullopt);
  }

  TemporaryFolder folder_;
  PrivateBus bus_{folder_.path()};
  BusThread helperBus_{busOpener(bus_.address())};
  HandQueue queue_;
  ManualClock clock_;
  CapturedLog log_;
  std::vector<std::string> received_;
  std::vector<std::string> gone_;
  std::string caller_;
  std::shared_ptr<MessageService> service_ =
      std::make_shared<MessageService>([this](const FanControlHelperCaller& caller, const std::string& selector,
                                              const PropertyList& arguments, const HelperAnswer& answer) {
        received_.push_back(selector);
        caller_ = caller.connectionName;
        if (arguments.size() == 3 && arguments[0] == 13) throw std::runtime_error("out of luck");
        if (arguments.size() == 3) return answer({{{"text", "\xC3("}}, std::nullopt});
        answer({nullptr, std::nullopt});
      });
  DBusHelperListener listener_{helperBus_, queue_, clock_, log_};
};

TEST_F(HelperBusTests, TheEightMethodsCanBeReadAndNothingElseCanBeCalled) {
  const auto bus = sdbus::createSessionBusConnectionWithAddress(bus_.address());
  const auto proxy = sdbus::createProxy(*bus, helperName, helperPath);
  std::string description;
  proxy->callMethod("Introspect").onInterface("org.freedesktop.DBus.Introspectable").storeResultsTo(description);
  for (const char* const method : {"Status", "BeginSession", "Heartbeat", "SetFanMode", "SetFanTargetRPM", "ResetAll",
                                   "EndSession", "PrepareForUninstall"}) {
    EXPECT_NE(description.find("<method name=\"" + std::string(method) + "\""), std::string::npos) << method;
  }
  for (const char* const argument :
       {"type=\"x\" name=\"fan_index\"", "type=\"b\" name=\"manual\"", "type=\"x\" name=\"rpm\"",
        "type=\"s\" name=\"session_id\"", "type=\"a{sv}\" name=\"status\"", "type=\"a{sv}\" name=\"fan\""}) {
    EXPECT_NE(description.find(argument), std::string::npos) << argument;
  }
  // The name of the error.
  const auto refused = [&](const char* method, const auto&... values) -> std::string {
    auto message = proxy->createMethodCall(helperName, method);
    static_cast<void>((message << ... << values));
    try {
      proxy->callMethod(message, std::uint64_t{60'000'000});
      return "none";
    } catch (const sdbus::Error& error) {
      return error.getName();
    }
  };
  const std::string invalid = "org.freedesktop.DBus.Error.InvalidArgs";
  const std::string longID(65, 'x');
  const std::string largeID(900'000, 'x');
  const std::string id = "S";
  EXPECT_EQ(refused("Status", 1), invalid);
  EXPECT_EQ(refused("BeginSession"), invalid);
  EXPECT_EQ(refused("Heartbeat", std::int64_t{7}), invalid);
  EXPECT_EQ(refused("SetFanMode", 0, true, id), invalid);
  EXPECT_EQ(refused("SetFanMode", std::int64_t{0}, 1, id), invalid);
  EXPECT_EQ(refused("SetFanTargetRPM", std::int64_t{0}, 3000.5, id), invalid);
  EXPECT_EQ(refused("Call", id), "org.freedesktop.DBus.Error.UnknownMethod");
  EXPECT_EQ(refused("Heartbeat", longID), limitsExceeded);
  EXPECT_EQ(refused("BeginSession", largeID), limitsExceeded);
  EXPECT_EQ(refused("SetFanMode", std::int64_t{0}, true, largeID), limitsExceeded);
  EXPECT_EQ(queue_.waiting.size(), 0U) << "it reached the service";
}

TEST_F(HelperBusTests, AnExceptionOfTheServiceIsAnAnswer) {
  Client client(bus_.address());
  client.connection->setFanMode(
      13, true, "S", [&](const PropertyList&, std::optional<Error> error) { client.outcomes.put(std::move(error)); });
  queue_.run(1);
  EXPECT_EQ(client.outcomes.next(), HelperXPCError::make(HelperXPCError::Code::internalFailure, "out of luck"));
  client.connection->heartbeat("S", client.reply());
  queue_.run(1);
  EXPECT_EQ(client.outcomes.next(), std::nullopt);
}

TEST_F(HelperBusTests, WhoHoldsTheSessionComesFirstAndHasRoomOfItsOwn) {
  Client holder(bus_.address());
  Client other(bus_.address());
  begin(holder);
  constexpr int flood = 30;
  constexpr int taken = MessageAdmission::mostOfConnection;
  for (int i = 0; i < flood; ++i) {
    other.connection->prepareForUninstall(other.reply());
  }
  for (int i = taken; i < flood; ++i) {
    const auto refused = other.outcomes.next();
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->code, connectionInterruptedCode) << "as one that may be tried again";
  }
  holder.connection->heartbeat("S", holder.reply());
  received_.clear();
  queue_.run(taken + 1);
  EXPECT_EQ(received_.size(), std::size_t{taken + 1});
  EXPECT_EQ(received_.front(), FanControlHelperSelector::heartbeat);
  EXPECT_EQ(holder.outcomes.next(), std::nullopt);
  EXPECT_EQ(log_.records().size(), 1U) << "one line for all that was refused";
}

TEST_F(HelperBusTests, AForgedNoticeEndsNoSessionAndLosesNoBus) {
  Client client(bus_.address());
  begin(client);
  const auto forger = sdbus::createSessionBusConnectionWithAddress(bus_.address());
  const auto object = sdbus::createObject(*forger, "/org/freedesktop/DBus");
  const auto owner = [&](const std::string& name) {
    std::string found;
    sdbus::createProxy(*forger, "org.freedesktop.DBus", "/org/freedesktop/DBus")
        ->callMethod("GetNameOwner")
        .onInterface("org.freedesktop.DBus")
        .withArguments(name)
        .storeResultsTo(found);
    return found;
  };
  const std::string helper = owner(helperName);
  const auto forge = [&](const std::string& name, const std::string& before, const std::string& after) {
    auto signal = object->createSignal("org.freedesktop.DBus", "NameOwnerChanged");
    signal << name << before << after;
    signal.setDestination(helper);
    signal.send();
  };
  forge(caller_, caller_, "");
  forge(helperName, helper, caller_);
  // What is sent after them is handled after them.
  sdbus::createProxy(*forger, helperName, helperPath)
      ->callMethod("Introspect")
      .onInterface("org.freedesktop.DBus.Introspectable");
  client.connection->heartbeat("S", client.reply());
  queue_.run(1);
  EXPECT_EQ(client.outcomes.next(), std::nullopt);
  EXPECT_TRUE(gone_.empty()) << gone_.front();
}

TEST_F(HelperBusTests, TheNameIsHadByOneListenerAtATime) {
  BusThread secondBus(busOpener(bus_.address()));
  DBusHelperListener second(secondBus, queue_, clock_, log_);
  EXPECT_THROW(second.resume(), HelperNameError);
  BusThread nowhere(busOpener("unix:path=" + (folder_ / "none").string()));
  DBusHelperListener unreachable(nowhere, queue_, clock_, log_);
  EXPECT_THROW(unreachable.resume(), HelperNameError);
  nowhere.stop();
  EXPECT_THROW(unreachable.resume(), HelperNameError) << "and neither this nor its end may wait for ever";
}

TEST_F(HelperBusTests, ACallThatIsNotAnsweredInTimeCountsAsInterrupted) {
  BusThread ownBus(busOpener(bus_.address()));
  DBusHelperConnections impatient(ownBus, Seconds{0.05});
  const auto connection = impatient.connect();
  connection->resume();
  Inbox<std::optional<Error>> outcomes;
  connection->heartbeat("S", [&](std::optional<Error> error) { outcomes.put(std::move(error)); });
  const auto outcome = outcomes.next();
  ASSERT_TRUE(outcome);
  EXPECT_EQ(outcome->code, connectionInterruptedCode);
  queue_.run(1);  // too late
}

TEST(MessageAdmissionTests, SoManyAtOnceAndSoManyASecond) {
  using Admission = MessageAdmission;
  const auto user = [](int number) { return static_cast<std::uint32_t>(500 + number); };
  const auto name = [](int number) { return ":1." + std::to_string(number); };
  struct Case {
    const char* text;
    int connections;
    /// Connections of each user.
    int perUser;
    int messages;
    bool areAnswered;
    double pause;
    std::size_t taken;
  };
  const std::vector<Case> table{
      {"one connection", 1, 1, 20, false, 0, Admission::mostOfConnection},
      {"one user", 10, 10, 20, false, 0, Admission::mostOfUser},
      {"many users", 40, 4, 20, false, 0, Admission::mostOfAll},
      {"one user's rate", 1, 1, 100, true, 0, static_cast<std::size_t>(Admission::rateOfUser * 1.5) + 1},
      {"one user's rate in the long run", 1, 1, 1000, true, 0.01, 461},
      {"everybody's rate", 60, 2, 100, true, 0, static_cast<std::size_t>(Admission::rateOfAll * 1.5)},
      {"who is not known yet counts as one user", 140, 1, 1, true, 0,
       static_cast<std::size_t>(Admission::rateOfUser * 1.5)},
      {"more connections than are remembered", 140, 1, 3, true, 0.1, 420},
  };
  for (const Case& each : table) {
    SCOPED_TRACE(each.text);
    Admission admission;
    Instant now{Seconds{1000}};
    const auto send = [&](int connection) {
      if (admission.refusal(name(connection), now)) return false;
      admission.identified({name(connection), user(connection / each.perUser), 1});
      if (each.areAnswered) admission.answered(name(connection));
      return true;
    };
    std::size_t taken = 0;
    for (int message = 0; message < each.messages; ++message) {
      for (int connection = 0; connection < each.connections; ++connection) {
        taken += send(connection) ? 1 : 0;
        now += Seconds{each.pause};
      }
    }
    EXPECT_EQ(taken, each.taken);
    // Whoever holds the session is heard all the same, with as much as a client ever sends.
    admission.setHolder("holder");
    for (int message = 0; message < 20; ++message) {
      EXPECT_EQ(admission.refusal("holder", now), std::nullopt);
      now += Seconds{0.001};
    }
    // With the time, everybody is heard again.
    for (int connection = 0; connection < each.connections && !each.areAnswered; ++connection) {
      admission.gone(name(connection));
    }
    now += Seconds{60};
    EXPECT_TRUE(send(0));
  }
}

}  // namespace
}  // namespace halcyra::test
