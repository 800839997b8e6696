#include "Platform/Apple/HelperMessageInbox.h"

#include <algorithm>
#include <limits>

#include "fmt/format.h"

#include "Platform/Apple/XPCSelectors.h"
#include "Platform/UntrustedText.h"

namespace halcyra {

namespace {

/// A UUID has 36 characters.
constexpr std::size_t longestSessionID = 64;

/// What is wrong with a message.
class MalformedMessage : public LocalizedError {
 public:
  using LocalizedError::LocalizedError;
  std::string_view domain() const override { return "halcyra.XPC"; }
};

class MessageArguments {
 public:
  explicit MessageArguments(const HelperMessage& message) : message_(message) {}

  void requireCount(std::size_t count) const {
    if (message_.arguments.size() != count) refuse(fmt::format("it takes {} arguments", count));
  }
  std::int64_t integer(std::size_t index) const {
    const PropertyList& value = message_.arguments[index];
    const bool isTooLarge = value.is_number_unsigned() &&
                            value.get<std::uint64_t>() > std::uint64_t{std::numeric_limits<std::int64_t>::max()};
    if (!value.is_number_integer() || isTooLarge) refuse(fmt::format("argument {} is not an integer", index + 1));
    return value.get<std::int64_t>();
  }
  bool boolean(std::size_t index) const {
    if (!message_.arguments[index].is_boolean()) refuse(fmt::format("argument {} is not a boolean", index + 1));
    return message_.arguments[index].get<bool>();
  }
  std::string sessionID(std::size_t index) const {
    const PropertyList& value = message_.arguments[index];
    if (!value.is_string() || value.get_ref<const std::string&>().size() > longestSessionID) {
      refuse(fmt::format("argument {} is not a session ID", index + 1));
    }
    return value.get<std::string>();
  }

 private:
  [[noreturn]] void refuse(const std::string& reason) const {
    throw MalformedMessage(fmt::format("The message {} is malformed: {}.", message_.selector, reason));
  }

  const HelperMessage& message_;
};

/// One message on its way to the service.
struct Delivery {
  FanControlHelperService& service;
  const FanControlHelperCaller& caller;
  const MessageArguments& arguments;
  const HelperMessageInbox::Reply& reply;

  HelperDictionaryReply dictionaryReply() const {
    return [reply = reply](PropertyList dictionary, std::optional<Error> error) {
      reply({std::move(dictionary), std::move(error)});
    };
  }
  HelperErrorReply errorReply() const {
    return [reply = reply](std::optional<Error> error) { reply({nullptr, std::move(error)}); };
  }
};

struct Route {
  std::size_t argumentCount;
  /// The arguments are read before the service is called.
  void (*run)(const Delivery&);
};

const std::map<std::string_view, Route>& helperRoutes() {
  static const std::map<std::string_view, Route> table{
      {XPCSelectors::status, {0, [](const Delivery& d) { d.service.status(d.caller, d.dictionaryReply()); }}},
      {XPCSelectors::beginSession,
       {1, [](const Delivery& d) { d.service.beginSession(d.caller, d.arguments.sessionID(0), d.dictionaryReply()); }}},
      {XPCSelectors::heartbeat,
       {1, [](const Delivery& d) { d.service.heartbeat(d.caller, d.arguments.sessionID(0), d.errorReply()); }}},
      {XPCSelectors::setFanMode,
       {3,
        [](const Delivery& d) {
          d.service.setFanMode(d.caller, d.arguments.integer(0), d.arguments.boolean(1), d.arguments.sessionID(2),
                               d.dictionaryReply());
        }}},
      {XPCSelectors::setFanTargetRPM,
       {3,
        [](const Delivery& d) {
          d.service.setFanTargetRPM(d.caller, d.arguments.integer(0), d.arguments.integer(1), d.arguments.sessionID(2),
                                    d.dictionaryReply());
        }}},
      {XPCSelectors::resetAll,
       {1, [](const Delivery& d) { d.service.resetAll(d.caller, d.arguments.sessionID(0), d.dictionaryReply()); }}},
      {XPCSelectors::endSession,
       {1, [](const Delivery& d) { d.service.endSession(d.caller, d.arguments.sessionID(0), d.errorReply()); }}},
      {XPCSelectors::prepareForUninstall,
       {0, [](const Delivery& d) { d.service.prepareForUninstall(d.caller, d.errorReply()); }}},
  };
  return table;
}

}  // namespace

bool HelperMessageInbox::admit(const std::string& connection, std::size_t mostOfConnection, std::size_t mostOfAll) {
  const std::lock_guard lock(mutex_);
  std::size_t& own = waiting_[connection];
  std::size_t ofOthers = 0;
  for (const auto& [name, count] : waiting_) ofOthers += name == holder_ ? 0 : count;
  // What others send does not keep the session's client out.
  if (own >= mostOfConnection || (connection != holder_ && ofOthers >= mostOfAll)) return false;
  ++own;
  return true;
}

void HelperMessageInbox::answered(const std::string& connection) {
  const std::lock_guard lock(mutex_);
  const auto found = waiting_.find(connection);
  if (found != waiting_.end() && --found->second == 0) waiting_.erase(found);
}

void HelperMessageInbox::put(Item item) {
  const std::lock_guard lock(mutex_);
  items_.push_back(std::move(item));
}

std::optional<HelperMessageInbox::Item> HelperMessageInbox::take() {
  const std::lock_guard lock(mutex_);
  if (items_.empty()) return std::nullopt;
  auto chosen = std::find_if(items_.begin(), items_.end(),
                             [this](const Item& each) { return each.caller.connectionName == holder_; });
  if (chosen == items_.end()) chosen = items_.begin();
  std::optional<Item> result(std::move(*chosen));
  items_.erase(chosen);
  return result;
}

void HelperMessageInbox::noteAnswer(const std::string& connection, const std::string& selector, bool failed) {
  const std::lock_guard lock(mutex_);
  const bool ends = selector == XPCSelectors::endSession || selector == XPCSelectors::prepareForUninstall;
  if (failed) return;
  if (selector == XPCSelectors::beginSession) {
    holder_ = connection;
  } else if (ends && holder_ == connection) {
    holder_.clear();
  }
}

void HelperMessageInbox::clientGone(const std::string& connection) {
  const std::lock_guard lock(mutex_);
  waiting_.erase(connection);
  if (holder_ == connection) holder_.clear();
}

std::optional<Error> deliver(const HelperMessage& message, const FanControlHelperCaller& caller,
                             FanControlHelperService& service, const HelperMessageInbox::Reply& reply) {
  const auto route = helperRoutes().find(message.selector);
  if (route == helperRoutes().end()) {
    return MalformedMessage(fmt::format("The helper knows no message {}.", quotedText(message.selector))).asError();
  }
  const MessageArguments arguments(message);
  try {
    arguments.requireCount(route->second.argumentCount);
    route->second.run({service, caller, arguments, reply});
    return std::nullopt;
  } catch (const MalformedMessage& refused) {
    return refused.asError();
  }
}

}  // namespace halcyra
