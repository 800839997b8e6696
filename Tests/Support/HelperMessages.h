#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Platform/FanControlHelper.h"

/// The names of the helper's messages, for tests that script, record and falsify them.
namespace halcyra::FanControlHelperSelector {

inline constexpr std::string_view status = "statusWithReply:";
inline constexpr std::string_view beginSession = "beginSession:reply:";
inline constexpr std::string_view heartbeat = "heartbeat:reply:";
inline constexpr std::string_view setFanMode = "setFanMode:manual:sessionID:reply:";
inline constexpr std::string_view setFanTargetRPM = "setFanTargetRPM:rpm:sessionID:reply:";
inline constexpr std::string_view resetAll = "resetAll:reply:";
inline constexpr std::string_view endSession = "endSession:reply:";
inline constexpr std::string_view prepareForUninstall = "prepareForUninstallWithReply:";

}  // namespace halcyra::FanControlHelperSelector

namespace halcyra::test {

/// What a message is answered with; messages that are answered with an error alone leave the value null.
struct HelperReply {
  PropertyList value;
  std::optional<Error> error;
};
using HelperAnswer = std::function<void(HelperReply)>;

inline HelperDictionaryReply dictionaryReply(HelperAnswer answer) {
  return [answer = std::move(answer)](PropertyList value, std::optional<Error> error) {
    answer({std::move(value), std::move(error)});
  };
}
inline HelperErrorReply errorReply(HelperAnswer answer) {
  return [answer = std::move(answer)](std::optional<Error> error) { answer({nullptr, std::move(error)}); };
}

/// A connection all of whose messages go through one function.
class MessageConnection : public FanControlHelperConnection {
 public:
  void status(DictionaryReply reply) final { send(FanControlHelperSelector::status, {}, std::move(reply)); }
  void beginSession(const std::string& id, DictionaryReply reply) final {
    send(FanControlHelperSelector::beginSession, {id}, std::move(reply));
  }
  void heartbeat(const std::string& id, ErrorReply reply) final {
    send(FanControlHelperSelector::heartbeat, {id}, std::move(reply));
  }
  void setFanMode(std::int64_t fan, bool manual, const std::string& id, DictionaryReply reply) final {
    send(FanControlHelperSelector::setFanMode, {fan, manual, id}, std::move(reply));
  }
  void setFanTargetRPM(std::int64_t fan, std::int64_t rpm, const std::string& id, DictionaryReply reply) final {
    send(FanControlHelperSelector::setFanTargetRPM, {fan, rpm, id}, std::move(reply));
  }
  void resetAll(const std::string& id, DictionaryReply reply) final {
    send(FanControlHelperSelector::resetAll, {id}, std::move(reply));
  }
  void endSession(const std::string& id, ErrorReply reply) final {
    send(FanControlHelperSelector::endSession, {id}, std::move(reply));
  }
  void prepareForUninstall(ErrorReply reply) final {
    send(FanControlHelperSelector::prepareForUninstall, {}, std::move(reply));
  }

 protected:
  virtual void call(const std::string& selector, PropertyList arguments, HelperAnswer answer) = 0;

 private:
  void send(std::string_view selector, PropertyList::array_t arguments, DictionaryReply reply) {
    call(std::string(selector), std::move(arguments),
         [reply = std::move(reply)](HelperReply answer) { reply(std::move(answer.value), std::move(answer.error)); });
  }
  void send(std::string_view selector, PropertyList::array_t arguments, ErrorReply reply) {
    call(std::string(selector), std::move(arguments),
         [reply = std::move(reply)](HelperReply answer) { reply(std::move(answer.error)); });
  }
};

/// Hands a message to a service. Throws `std::out_of_range` or the property list's own exception, before anything is
/// handed over, when there is no such message or its arguments are others.
inline void deliverMessage(FanControlHelperService& service, const FanControlHelperCaller& caller,
                           const std::string& selector, const PropertyList& arguments, HelperAnswer answer) {
  using Deliver = std::function<void()>;
  const auto text = [&](std::size_t index) { return arguments.at(index).get<std::string>(); };
  const auto number = [&](std::size_t index) { return arguments.at(index).get<std::int64_t>(); };
  namespace Selector = FanControlHelperSelector;
  const std::map<std::string_view, Deliver> messages{
      {Selector::status, [&] { service.status(caller, dictionaryReply(answer)); }},
      {Selector::beginSession, [&] { service.beginSession(caller, text(0), dictionaryReply(answer)); }},
      {Selector::heartbeat, [&] { service.heartbeat(caller, text(0), errorReply(answer)); }},
      {Selector::setFanMode,
       [&] { service.setFanMode(caller, number(0), arguments.at(1).get<bool>(), text(2), dictionaryReply(answer)); }},
      {Selector::setFanTargetRPM,
       [&] { service.setFanTargetRPM(caller, number(0), number(1), text(2), dictionaryReply(answer)); }},
      {Selector::resetAll, [&] { service.resetAll(caller, text(0), dictionaryReply(answer)); }},
      {Selector::endSession, [&] { service.endSession(caller, text(0), errorReply(answer)); }},
      {Selector::prepareForUninstall, [&] { service.prepareForUninstall(caller, errorReply(answer)); }},
  };
  messages.at(selector)();
}

/// A service all of whose messages go through one function.
class MessageService : public FanControlHelperService {
 public:
  using Handler =
      std::function<void(const Caller&, const std::string& selector, const PropertyList& arguments, HelperAnswer)>;

  explicit MessageService(Handler handler) : handler_(std::move(handler)) {}

  void status(const Caller& caller, DictionaryReply reply) override {
    take(caller, FanControlHelperSelector::status, {}, std::move(reply));
  }
  void beginSession(const Caller& caller, const std::string& id, DictionaryReply reply) override {
    take(caller, FanControlHelperSelector::beginSession, {id}, std::move(reply));
  }
  void heartbeat(const Caller& caller, const std::string& id, ErrorReply reply) override {
    take(caller, FanControlHelperSelector::heartbeat, {id}, std::move(reply));
  }
  void setFanMode(const Caller& caller, std::int64_t fan, bool manual, const std::string& id,
                  DictionaryReply reply) override {
    take(caller, FanControlHelperSelector::setFanMode, {fan, manual, id}, std::move(reply));
  }
  void setFanTargetRPM(const Caller& caller, std::int64_t fan, std::int64_t rpm, const std::string& id,
                       DictionaryReply reply) override {
    take(caller, FanControlHelperSelector::setFanTargetRPM, {fan, rpm, id}, std::move(reply));
  }
  void resetAll(const Caller& caller, const std::string& id, DictionaryReply reply) override {
    take(caller, FanControlHelperSelector::resetAll, {id}, std::move(reply));
  }
  void endSession(const Caller& caller, const std::string& id, ErrorReply reply) override {
    take(caller, FanControlHelperSelector::endSession, {id}, std::move(reply));
  }
  void prepareForUninstall(const Caller& caller, ErrorReply reply) override {
    take(caller, FanControlHelperSelector::prepareForUninstall, {}, std::move(reply));
  }

 private:
  void take(const Caller& caller, std::string_view selector, PropertyList::array_t arguments, DictionaryReply reply) {
    handler_(caller, std::string(selector), std::move(arguments), [reply = std::move(reply)](HelperReply answer) {
      reply(std::move(answer.value), std::move(answer.error));
    });
  }
  void take(const Caller& caller, std::string_view selector, PropertyList::array_t arguments, ErrorReply reply) {
    handler_(caller, std::string(selector), std::move(arguments),
             [reply = std::move(reply)](HelperReply answer) { reply(std::move(answer.error)); });
  }

  Handler handler_;
};

/// A listener whose messages go through `pass` on their way to the service.
class FilteredMessages : public FanControlHelperListener {
 public:
  using Handler = MessageService::Handler;
  using Pass = std::function<void(const Handler& handler, const FanControlHelperCaller&, const std::string& selector,
                                  const PropertyList&, HelperAnswer)>;
  FilteredMessages(std::unique_ptr<FanControlHelperListener> inner, Pass pass)
      : inner_(std::move(inner)), pass_(std::move(pass)) {}

  void setService(std::weak_ptr<FanControlHelperService> service) override {
    const Handler handler = [service](const FanControlHelperCaller& caller, const std::string& selector,
                                      const PropertyList& arguments, HelperAnswer answer) {
      if (const auto receiver = service.lock()) {
        deliverMessage(*receiver, caller, selector, arguments, std::move(answer));
      }
    };
    filter_ = std::make_shared<MessageService>(
        [pass = pass_, handler](const FanControlHelperCaller& caller, const std::string& selector,
                                const PropertyList& arguments, HelperAnswer answer) {
          pass(handler, caller, selector, arguments, std::move(answer));
        });
    inner_->setService(filter_);
  }
  void setClientGoneHandler(std::function<void(const std::string&)> handler) override {
    inner_->setClientGoneHandler(std::move(handler));
  }
  void setLostHandler(std::function<void()> handler) override { inner_->setLostHandler(std::move(handler)); }
  void resume() override { inner_->resume(); }

 private:
  std::unique_ptr<FanControlHelperListener> inner_;
  Pass pass_;
  std::shared_ptr<MessageService> filter_;
};

}  // namespace halcyra::test
