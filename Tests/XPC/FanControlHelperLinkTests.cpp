#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
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

  void status(const MachServiceCaller& caller, DictionaryReply reply) override {
    note(caller, "status");
    answer(reply);
  }
  void beginSession(const MachServiceCaller& caller, const std::string& sessionID, DictionaryReply reply) override {
    note(caller, "beginSession " + sessionID);
    answer(reply);
  }
  void heartbeat(const MachServiceCaller& caller, const std::string& sessionID, ErrorReply reply) override {
    note(caller, "heartbeat " + sessionID);
    answer(reply);
  }
  void setFanMode(const MachServiceCaller& caller, int fan, bool manual, const std::string& sessionID,
                  DictionaryReply reply) override {
    note(caller, "setFanMode " + std::to_string(fan) + (manual ? " manual " : " automatic ") + sessionID);
    answer(reply);
  }
  void setFanTargetRPM(const MachServiceCaller& caller, int fan, std::int64_t rpm, const std::string& sessionID,
                       DictionaryReply reply) override {
    note(caller, "setFanTargetRPM " + std::to_string(fan) + " " + std::to_string(rpm) + " " + sessionID);
    answer(reply);
  }
  void resetAll(const MachServiceCaller& caller, const std::string& sessionID, DictionaryReply reply) override {
    note(caller, "resetAll " + sessionID);
    answer(reply);
  }
  void endSession(const MachServiceCaller& caller, const std::string& sessionID, ErrorReply reply) override {
    note(caller, "endSession " + sessionID);
    answer(reply);
  }
  void prepareForUninstall(const MachServiceCaller& caller, ErrorReply reply) override {
    note(caller, "prepareForUninstall");
    answer(reply);
  }

 private:
  void note(const MachServiceCaller& caller, const std::string& call) {
    calls.push_back(caller.connectionName + ": " + call);
  }
  void answer(const DictionaryReply& reply) {
    beforeReplies();
    for (int i = 0; i < replies; ++i) reply(dictionary, error);
  }
  void answer(const ErrorReply& reply) {
    beforeReplies();
    for (int i = 0; i < replies; ++i) reply(error);
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

TEST_F(FanControlHelperLinkTest, GivesABrokenConnectionToTheErrorHandlerAlone) {
  connection_->failure = Error(cocoaErrorDomain, connectionInterruptedCode);
  callEverything();
  EXPECT_EQ(transportErrors_, std::vector<Error>(8, *connection_->failure));
  EXPECT_TRUE(answers_.empty());
  EXPECT_TRUE(service_.calls.empty());
}

TEST_F(FanControlHelperLinkTest, ReportsAMissingConnection) {
  connection_ = nullptr;
  callEverything();
  EXPECT_EQ(transportErrors_,
            std::vector<Error>(8, HelperXPCError::make(Code::internalFailure,
                                                       "The privileged helper could not complete the fan-control "
                                                       "request.")));
  EXPECT_TRUE(answers_.empty());
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
  struct BadMessage {
    std::string selector;
    const char* arguments;
    Code code;
    std::string description;
  };
  const auto malformed = [](const std::string& selector, const std::string& reason) {
    return "The message " + selector + " is malformed: " + reason + ".";
  };
  const std::string mode = "setFanMode:manual:sessionID:reply:";
  const std::string target = "setFanTargetRPM:rpm:sessionID:reply:";
  const auto failure = Code::internalFailure;
  const BadMessage cases[] = {
      {"", "[]", failure, "The helper knows no message \"\"."},
      {"status", "[]", failure, "The helper knows no message \"status\"."},
      {"a\n\xFF" + std::string(100, 'x'), "[]", failure,
       "The helper knows no message \"a??" + std::string(61, 'x') + "\"."},
      {"statusWithReply:", "null", failure, malformed("statusWithReply:", "its arguments are not an array")},
      {"statusWithReply:", "{}", failure, malformed("statusWithReply:", "its arguments are not an array")},
      {"statusWithReply:", "[1]", failure, malformed("statusWithReply:", "it takes 0 arguments, not 1")},
      {"prepareForUninstallWithReply:", "[null]", failure,
       malformed("prepareForUninstallWithReply:", "it takes 0 arguments, not 1")},
      {"beginSession:reply:", "[]", failure, malformed("beginSession:reply:", "it takes 1 argument, not 0")},
      {"beginSession:reply:", "[7]", failure, malformed("beginSession:reply:", "argument 1 is not a string")},
      {"heartbeat:reply:", "[null]", failure, malformed("heartbeat:reply:", "argument 1 is not a string")},
      {"resetAll:reply:", "[[]]", failure, malformed("resetAll:reply:", "argument 1 is not a string")},
      {"endSession:reply:", "[{}]", failure, malformed("endSession:reply:", "argument 1 is not a string")},
      {mode, "[0,true]", failure, malformed(mode, "it takes 3 arguments, not 2")},
      {mode, "[\"0\",true,\"S\"]", failure, malformed(mode, "argument 1 is not an integer")},
      {mode, "[0.0,true,\"S\"]", failure, malformed(mode, "argument 1 is not an integer")},
      {mode, "[true,true,\"S\"]", failure, malformed(mode, "argument 1 is not an integer")},
      {mode, "[0,1,\"S\"]", failure, malformed(mode, "argument 2 is not a boolean")},
      {mode, "[0,true,null]", failure, malformed(mode, "argument 3 is not a string")},
      {mode, "[2147483648,true,\"S\"]", Code::invalidFan, "There is no fan 2147483648."},
      {mode, "[-2147483649,true,\"S\"]", Code::invalidFan, "There is no fan -2147483649."},
      {target, "[18446744073709551615,3000,\"S\"]", Code::invalidFan, "There is no fan 18446744073709551615."},
      {target, "[0,3000.5,\"S\"]", failure, malformed(target, "argument 2 is not a 64-bit integer")},
      {target, "[0,9223372036854775808,\"S\"]", failure, malformed(target, "argument 2 is not a 64-bit integer")},
      {target, "[0,\"3000\",\"S\"]", failure, malformed(target, "argument 2 is not a 64-bit integer")},
      {target, "[0,3000,0]", failure, malformed(target, "argument 3 is not a string")},
  };
  for (const BadMessage& testCase : cases) {
    const MachServiceReply reply = send(testCase.selector, PropertyList::parse(testCase.arguments));
    EXPECT_EQ(reply.error, HelperXPCError::make(testCase.code, testCase.description))
        << testCase.selector << testCase.arguments << ": " << reply.error.value_or(Error()).localizedDescription();
    EXPECT_TRUE(reply.value.is_null());
  }
  EXPECT_TRUE(service_.calls.empty());
}

TEST_F(FanControlHelperLinkTest, PassesOnTheFirstReplyOnly) {
  service_.replies = 3;
  EXPECT_EQ(send("statusWithReply:", PropertyList::array()).value, service_.dictionary);
  EXPECT_EQ(send("heartbeat:reply:", PropertyList::array({"S"})).error, std::nullopt);
}

TEST_F(FanControlHelperLinkTest, AnswersWhenTheServiceThrows) {
  service_.beforeReplies = [] { throw std::runtime_error("out of luck"); };
  EXPECT_EQ(send("resetAll:reply:", PropertyList::array({"S"})).error,
            HelperXPCError::make(Code::internalFailure, "out of luck"));
  EXPECT_EQ(service_.calls.size(), 1U);
}

}  // namespace halcyra
