// The Mac's ends of the link to the helper: the contract of every link, and what only this one has.

#include <optional>
#include <stdexcept>

#include "gtest/gtest.h"

#include "Apple/Doubles/Pump.h"
#include "Platform/Apple/XPCHelperConnections.h"
#include "Platform/Apple/XPCHelperListener.h"
#include "Platform/HelperLinks.h"
#include "Support/CapturingLogSink.h"
#include "xpc/xpc.h"

namespace halcyra::test {

namespace {

class XPCLink : public Link {
 public:
  explicit XPCLink(std::optional<std::string> requirement = std::nullopt)
      : requirement_(requirement), connections_("service", std::move(requirement)) {}
  ~XPCLink() override {
    listener_.reset();
    Pump::run();
    XPCSystem::setSignatureFits(true);
  }
  XPCLink(const XPCLink&) = delete;
  XPCLink& operator=(const XPCLink&) = delete;

  FanControlHelperConnections& connections() override { return connections_; }
  std::uint32_t userID() const override { return XPCSystem::userID; }
  std::int32_t processID() const override { return XPCSystem::processID; }
  void startHelper() override {
    listener_ = std::make_unique<XPCHelperListener>("service", requirement_, queue_, log_);
    serve(*listener_);
  }
  void endHelper() override {
    XPCSystem::killHelper();
    listener_.reset();
  }
  void loseBus() override { XPCSystem::removeService(); }
  void restoreBus() override {}
  std::string speakAndLeave() override {
    const auto connection = connections_.connect();
    connection->resume();
    connection->heartbeat("S", [](const std::optional<Error>&) {});
    return nextMessage().caller.connectionName;
  }
  void await(const std::function<bool(const Records&)>& isSo) override {
    Pump::run();
    if (!isSo(records_)) throw std::runtime_error("nothing came");
  }

 private:
  PumpedQueue queue_;
  CapturingLogSink log_;
  const std::optional<std::string> requirement_;
  XPCHelperConnections connections_;
  std::unique_ptr<XPCHelperListener> listener_;
};

std::string outcome(const std::optional<Error>& error) {
  return error ? error->localizedDescription() : "fine";
}

}  // namespace

std::vector<std::string> linkKinds() {
  return {"XPC"};
}

std::unique_ptr<Link> makeLink(const std::string&) {
  return std::make_unique<XPCLink>();
}

TEST(XPCLinkTests, NothingIsLeftBehindAndAWrongSignatureInvalidates) {
  const std::size_t before = XPCSystem::liveObjects();
  {
    int invalidations = 0;
    std::vector<std::string> seen;
    XPCLink link("anchor apple");
    link.startHelper();
    const auto connection = link.connections().connect();
    connection->setInvalidationHandler([&] { ++invalidations; });
    connection->resume();
    connection->heartbeat("S", [&](const std::optional<Error>& error) { seen.push_back(outcome(error)); });
    link.nextMessage().answer({nullptr, std::nullopt});
    XPCSystem::setSignatureFits(false);
    for (int i = 0; i < 2; ++i) {
      connection->heartbeat("S", [&](const std::optional<Error>& error) { seen.push_back(outcome(error)); });
      Pump::run();
    }
    const std::string invalid = "The connection to the helper is invalid.";
    EXPECT_EQ(seen, (std::vector<std::string>{"fine", invalid, invalid}));
    EXPECT_EQ(invalidations, 1);
  }
  EXPECT_EQ(XPCSystem::liveObjects(), before);
}

TEST(XPCLinkTests, TheSessionsClientComesFirstAndIsNeverCrowdedOut) {
  std::vector<std::string> refusals;
  XPCLink link;
  link.startHelper();
  const auto connect = [&] {
    auto connection = link.connections().connect();
    connection->resume();
    return connection;
  };
  const auto note = [&](const std::optional<Error>& error) {
    if (error) refusals.push_back(outcome(error));
  };
  const auto holder = connect();
  holder->beginSession("S", [](const PropertyList&, const std::optional<Error>&) {});
  link.nextMessage().answer({PropertyList::object(), std::nullopt});
  std::vector<std::shared_ptr<FanControlHelperConnection>> others;
  constexpr std::size_t senders = 1 + XPCHelperListener::mostOfAll / XPCHelperListener::mostOfConnection;
  for (std::size_t sender = 0; sender < senders; ++sender) {
    others.push_back(connect());
    for (std::size_t i = 0; i <= XPCHelperListener::mostOfConnection; ++i) others.back()->heartbeat("X", note);
  }
  holder->heartbeat("S", note);
  EXPECT_EQ(link.nextMessage().arguments, PropertyList({"S"}));
  const std::size_t sent = senders * (XPCHelperListener::mostOfConnection + 1);
  EXPECT_EQ(refusals,
            std::vector<std::string>(sent - XPCHelperListener::mostOfAll, "Too many messages wait for an answer."));
}

TEST(XPCLinkTests, WhatIsNoMessageIsRefusedWithAReason) {
  XPCLink link;
  link.startHelper();
  const dispatch_queue_t queue = dispatch_queue_create("test", nullptr);
  const xpc_connection_t connection =
      xpc_connection_create_mach_service("service", queue, XPC_CONNECTION_MACH_SERVICE_PRIVILEGED);
  xpc_connection_set_event_handler(connection, ^(xpc_object_t){
                                   });
  xpc_connection_resume(connection);
  const auto text = [](const char* value) { return xpc_string_create(value); };
  const auto ask = [&](xpc_object_t selector, const std::vector<xpc_object_t>& values) {
    const xpc_object_t message = xpc_dictionary_create(nullptr, nullptr, 0);
    const xpc_object_t arguments = xpc_array_create(nullptr, 0);
    for (const xpc_object_t value : values) {
      xpc_array_append_value(arguments, value);
      xpc_release(value);
    }
    xpc_dictionary_set_value(message, "selector", selector);
    xpc_dictionary_set_value(message, "arguments", arguments);
    std::string answered;
    std::string* const result = &answered;
    xpc_connection_send_message_with_reply(connection, message, queue, ^(xpc_object_t reply) {
      const xpc_object_t error = xpc_dictionary_get_value(reply, "error");
      const xpc_object_t info = xpc_dictionary_get_value(error, "userInfo");
      *result = xpc_string_get_string_ptr(xpc_dictionary_get_value(info, std::string(localizedDescriptionKey).c_str()));
    });
    for (const xpc_object_t object : {message, arguments, selector}) xpc_release(object);
    Pump::run();
    return answered;
  };
  EXPECT_EQ(ask(xpc_int64_create(1), {}), "This is no message of the helper.");
  EXPECT_EQ(ask(text("stop:"), {}), "The helper knows no message \"stop:\".");
  const std::string malformed = "The message setFanMode:manual:sessionID:reply: is malformed: ";
  const auto setFanMode = [&](const std::vector<xpc_object_t>& values) {
    return ask(text("setFanMode:manual:sessionID:reply:"), values);
  };
  EXPECT_EQ(setFanMode({}), malformed + "it takes 3 arguments.");
  EXPECT_EQ(setFanMode({xpc_bool_create(true), xpc_bool_create(true), text("S")}),
            malformed + "argument 1 is not an integer.");
  EXPECT_EQ(setFanMode({xpc_uint64_create(~0ULL), xpc_bool_create(true), text("S")}),
            malformed + "argument 1 is not an integer.");
  EXPECT_EQ(setFanMode({xpc_int64_create(0), xpc_int64_create(1), text("S")}),
            malformed + "argument 2 is not a boolean.");
  EXPECT_EQ(setFanMode({xpc_int64_create(0), xpc_bool_create(true), text(std::string(65, 'S').c_str())}),
            malformed + "argument 3 is not a session ID.");
  EXPECT_TRUE(link.take([](Link::Records& now) { return now.messages.empty(); }));
  xpc_connection_cancel(connection);
  Pump::run();
  xpc_release(connection);
  dispatch_release(queue);
}

}  // namespace halcyra::test
