#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "gtest/gtest.h"

#include "XPC/FanControlHelperDispatcher.h"
#include "XPC/FanControlHelperProxy.h"
#include "XPC/HelperXPCError.h"

namespace halcyra {

namespace {

using HelperXPCError::Code;

/// Notes every call and answers as told.
class RecordingService : public FanControlHelperService {
 public:
  std::vector<std::string> calls;
  PropertyList dictionary = PropertyList::object({{"fanCount", 2}});
  std::optional<Error> error;
  int replies = 1;
  std::function<void()> beforeReplies = [] {};

  void status(const MachServiceCaller& caller, DictionaryReply reply) override { take(caller, "status", reply); }
  void beginSession(const MachServiceCaller& caller, const std::string& sessionID, DictionaryReply reply) override {
    take(caller, "beginSession " + sessionID, reply);
  }
  void heartbeat(const MachServiceCaller& caller, const std::string& sessionID, ErrorReply reply) override {
    take(caller, "heartbeat " + sessionID, reply);
  }
  void setFanMode(const MachServiceCaller& caller, int fan, bool manual, const std::string& sessionID,
                  DictionaryReply reply) override {
    take(caller, "setFanMode " + std::to_string(fan) + (manual ? " manual " : " automatic ") + sessionID, reply);
  }
  void setFanTargetRPM(const MachServiceCaller& caller, int fan, std::int64_t rpm, const std::string& sessionID,
                       DictionaryReply reply) override {
    take(caller, "setFanTargetRPM " + std::to_string(fan) + " " + std::to_string(rpm) + " " + sessionID, reply);
  }
  void resetAll(const MachServiceCaller& caller, const std::string& sessionID, DictionaryReply reply) override {
    take(caller, "resetAll " + sessionID, reply);
  }
  void endSession(const MachServiceCaller& caller, const std::string& sessionID, ErrorReply reply) override {
    take(caller, "endSession " + sessionID, reply);
  }
  void prepareForUninstall(const MachServiceCaller& caller, ErrorReply reply) override {
    take(caller, "prepareForUninstall", reply);
  }

 private:
  template <typename Reply>
  void take(const MachServiceCaller& caller, const std::string& call, const Reply& reply) {
    calls.push_back(caller.connectionName + ": " + call);
    beforeReplies();
    for (int i = 0; i < replies; ++i) {
      if constexpr (std::is_same_v<Reply, DictionaryReply>) {
        reply(dictionary, error);
      } else {
        reply(error);
      }
    }
  }
};

/// Carries calls straight into a dispatcher, or breaks, or gives an answer of its own.
class DirectConnection : public MachServiceConnection {
 public:
  explicit DirectConnection(FanControlHelperDispatcher& dispatcher) : dispatcher_(dispatcher) {}

  std::optional<Error> failure;
  std::optional<MachServiceReply> ownAnswer;

  void setInvalidationHandler(std::function<void()>) override {}
  void resume() override {}
  void call(const std::string& selector, PropertyList arguments, ReplyHandler reply, ErrorHandler onFailure) override {
    if (failure) {
      onFailure(*failure);
    } else if (ownAnswer) {
      reply(*ownAnswer);
    } else {
      dispatcher_.dispatch({":1.7", 501, 42}, selector, arguments, std::move(reply));
    }
  }
  void invalidate() override {}

 private:
  FanControlHelperDispatcher& dispatcher_;
};

class FanControlHelperLinkTest : public testing::Test {
 protected:
  FanControlHelperProxy proxy() {
    return {connection_, [this](const Error& error) { transportErrors_.push_back(error); }};
  }
  FanControlHelperProtocol::DictionaryReply dictionaryReply() {
    return [this](PropertyList dictionary, std::optional<Error> error) {
      answers_.push_back({std::move(dictionary), std::move(error)});
    };
  }
  FanControlHelperProtocol::ErrorReply errorReply() {
    return [this](std::optional<Error> error) { answers_.push_back({nullptr, std::move(error)}); };
  }

  /// All eight calls, in the order of their declaration.
  void callEverything() {
    FanControlHelperProxy helper = proxy();
    helper.status(dictionaryReply());
    helper.beginSession("S", dictionaryReply());
    helper.heartbeat("S", errorReply());
    helper.setFanMode(1, true, "S", dictionaryReply());
    helper.setFanTargetRPM(-1, 3000, "S", dictionaryReply());
    helper.resetAll("S", dictionaryReply());
    helper.endSession("", errorReply());
    helper.prepareForUninstall(errorReply());
  }

  /// What a raw message is answered with.
  MachServiceReply send(const std::string& selector, const PropertyList& arguments) {
    std::vector<MachServiceReply> replies;
    dispatcher_.dispatch({":1.7", 501, 42}, selector, arguments,
                         [&](MachServiceReply reply) { replies.push_back(std::move(reply)); });
    EXPECT_EQ(replies.size(), 1U) << selector;
    return replies.empty() ? MachServiceReply{} : replies.front();
  }

  RecordingService service_;
  FanControlHelperDispatcher dispatcher_{service_};
  std::shared_ptr<DirectConnection> connection_ = std::make_shared<DirectConnection>(dispatcher_);
  std::vector<MachServiceReply> answers_;
  std::vector<Error> transportErrors_;
};

}  // namespace

TEST_F(FanControlHelperLinkTest, CarriesEveryCallAndItsAnswer) {
  callEverything();
  EXPECT_EQ(service_.calls,
            (std::vector<std::string>{":1.7: status", ":1.7: beginSession S", ":1.7: heartbeat S",
                                      ":1.7: setFanMode 1 manual S", ":1.7: setFanTargetRPM -1 3000 S",
                                      ":1.7: resetAll S", ":1.7: endSession ", ":1.7: prepareForUninstall"}));
  ASSERT_EQ(answers_.size(), 8U);
  for (const std::size_t withDictionary : {0U, 1U, 3U, 4U, 5U}) {
    EXPECT_EQ(answers_[withDictionary].value, service_.dictionary);
  }
  for (const MachServiceReply& answer : answers_) EXPECT_EQ(answer.error, std::nullopt);
  EXPECT_TRUE(transportErrors_.empty());

  answers_.clear();
  service_.error = HelperXPCError::make(Code::busy);
  service_.dictionary = nullptr;
  callEverything();
  ASSERT_EQ(answers_.size(), 8U);
  for (const MachServiceReply& answer : answers_) {
    EXPECT_EQ(answer.error, service_.error);
    EXPECT_TRUE(answer.value.is_null());
  }
  EXPECT_TRUE(transportErrors_.empty()) << "the helper's errors are no errors of the connection";
}

TEST_F(FanControlHelperLinkTest, GivesABrokenOrMissingConnectionToTheErrorHandlerAlone) {
  connection_->failure = Error(cocoaErrorDomain, connectionInterruptedCode);
  callEverything();
  EXPECT_EQ(transportErrors_, std::vector<Error>(8, *connection_->failure));
  transportErrors_.clear();
  connection_ = nullptr;
  callEverything();
  const Error missing =
      HelperXPCError::make(Code::internalFailure, "The privileged helper could not complete the fan-control request.");
  EXPECT_EQ(transportErrors_, std::vector<Error>(8, missing));
  EXPECT_TRUE(answers_.empty());
  EXPECT_TRUE(service_.calls.empty());
}

TEST_F(FanControlHelperLinkTest, RefusesAnAnswerThatIsNoDictionary) {
  connection_->ownAnswer = MachServiceReply{"text", std::nullopt};
  proxy().resetAll("S", dictionaryReply());
  connection_->ownAnswer = MachServiceReply{"text", HelperXPCError::make(Code::busy)};
  proxy().resetAll("S", dictionaryReply());
  ASSERT_EQ(answers_.size(), 2U);
  EXPECT_TRUE(answers_[0].value.is_null());
  EXPECT_EQ(answers_[0].error,
            HelperXPCError::make(Code::internalFailure, "The helper's answer to resetAll:reply: is not a dictionary."));
  EXPECT_TRUE(answers_[1].value.is_null());
  EXPECT_EQ(answers_[1].error, HelperXPCError::make(Code::busy));
}

TEST_F(FanControlHelperLinkTest, KeepsBadMessagesFromTheService) {
  const auto expectRefused = [this](const std::string& selector, const char* arguments, const Error& expected) {
    const MachServiceReply reply = send(selector, PropertyList::parse(arguments));
    EXPECT_EQ(reply.error, expected) << selector << arguments << ": "
                                     << reply.error.value_or(Error()).localizedDescription();
    EXPECT_TRUE(reply.value.is_null());
  };
  struct BadArguments {
    const char* selector;
    const char* arguments;
    const char* reason;
  };
  const char* const mode = "setFanMode:manual:sessionID:reply:";
  const char* const target = "setFanTargetRPM:rpm:sessionID:reply:";
  const BadArguments cases[] = {
      {"statusWithReply:", "{}", "its arguments are not an array"},
      {"statusWithReply:", "[1]", "it takes 0 arguments, not 1"},
      {"beginSession:reply:", "[]", "it takes 1 argument, not 0"},
      {"beginSession:reply:", "[7]", "argument 1 is not a string"},
      {"heartbeat:reply:", "[null]", "argument 1 is not a string"},
      {"resetAll:reply:", "[[]]", "argument 1 is not a string"},
      {"endSession:reply:", "[{}]", "argument 1 is not a string"},
      {mode, "[0,true]", "it takes 3 arguments, not 2"},
      {mode, "[\"0\",true,\"S\"]", "argument 1 is not an integer"},
      {mode, "[0.0,true,\"S\"]", "argument 1 is not an integer"},
      {mode, "[0,1,\"S\"]", "argument 2 is not a boolean"},
      {mode, "[0,true,null]", "argument 3 is not a string"},
      {target, "[0,3000.5,\"S\"]", "argument 2 is not a 64-bit integer"},
      {target, "[0,9223372036854775808,\"S\"]", "argument 2 is not a 64-bit integer"},
      {target, "[0,3000,0]", "argument 3 is not a string"},
  };
  for (const auto& [selector, arguments, reason] : cases) {
    const std::string text = "The message " + std::string(selector) + " is malformed: " + reason + ".";
    expectRefused(selector, arguments, HelperXPCError::make(Code::internalFailure, text));
  }
  for (const std::string fan : {"2147483648", "-2147483649", "18446744073709551615"}) {
    expectRefused(mode, ("[" + fan + ",true,\"S\"]").c_str(),
                  HelperXPCError::make(Code::invalidFan, "There is no fan " + fan + "."));
  }
  expectRefused("", "[]", HelperXPCError::make(Code::internalFailure, "The helper knows no message \"\"."));
  expectRefused(
      "a\n\xFF" + std::string(100, 'x'), "[]",
      HelperXPCError::make(Code::internalFailure, "The helper knows no message \"a??" + std::string(61, 'x') + "\"."));
  EXPECT_TRUE(service_.calls.empty());
}

TEST_F(FanControlHelperLinkTest, PassesOnTheFirstReplyOnlyAndAnswersWhenTheServiceThrows) {
  service_.replies = 3;
  EXPECT_EQ(send("statusWithReply:", PropertyList::array()).value, service_.dictionary);
  EXPECT_EQ(send("heartbeat:reply:", PropertyList::array({"S"})).error, std::nullopt);
  service_.beforeReplies = [] { throw std::runtime_error("out of luck"); };
  EXPECT_EQ(send("resetAll:reply:", PropertyList::array({"S"})).error,
            HelperXPCError::make(Code::internalFailure, "out of luck"));
}

}  // namespace halcyra
