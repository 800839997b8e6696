#include "XPC/FanControlHelperDispatcher.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "fmt/format.h"

#include "XPC/FanControlHelperSelector.h"
#include "XPC/HelperXPCError.h"

namespace halcyra {

namespace {

namespace Selector = FanControlHelperSelector;
using HelperXPCError::Code;

/// Passes on the first reply only.
class OneAnswer {
 public:
  explicit OneAnswer(MachServiceListener::Answer answer) : answer_(std::move(answer)) {}

  void operator()(MachServiceReply reply) {
    if (!isGiven_.exchange(true)) answer_(std::move(reply));
  }

 private:
  MachServiceListener::Answer answer_;
  std::atomic<bool> isGiven_{false};
};

/// Why a message is refused.
class RefusedMessage : public std::runtime_error {
 public:
  RefusedMessage(Code code, const std::string& description) : std::runtime_error(description), code_(code) {}
  Error asError() const { return HelperXPCError::make(code_, what()); }

 private:
  Code code_;
};

/// The arguments of one message, each read with a check of its type.
class Arguments {
 public:
  Arguments(std::string_view selector, const PropertyList& values) : selector_(selector), values_(values) {}

  void requireCount(std::size_t count) const {
    if (!values_.is_array()) refuse("its arguments are not an array");
    if (values_.size() != count) {
      refuse(fmt::format("it takes {} argument{}, not {}", count, count == 1 ? "" : "s", values_.size()));
    }
  }

  const std::string& string(std::size_t index) const {
    if (!values_[index].is_string()) refuseType(index, "a string");
    return values_[index].get_ref<const std::string&>();
  }

  bool boolean(std::size_t index) const {
    if (!values_[index].is_boolean()) refuseType(index, "a boolean");
    return values_[index].get<bool>();
  }

  std::int64_t integer(std::size_t index) const {
    const PropertyList& value = values_[index];
    if (!value.is_number_integer() || exceedsSigned(value)) refuseType(index, "a 64-bit integer");
    return value.get<std::int64_t>();
  }

  int fanIndex(std::size_t index) const {
    const PropertyList& value = values_[index];
    if (!value.is_number_integer()) refuseType(index, "an integer");
    const bool fits = !exceedsSigned(value) && std::in_range<int>(value.get<std::int64_t>());
    if (!fits) throw RefusedMessage(Code::invalidFan, fmt::format("There is no fan {}.", value.dump()));
    return value.get<int>();
  }

 private:
  static bool exceedsSigned(const PropertyList& value) {
    return value.is_number_unsigned() && !std::in_range<std::int64_t>(value.get<std::uint64_t>());
  }

  [[noreturn]] void refuse(const std::string& reason) const {
    throw RefusedMessage(Code::internalFailure, fmt::format("The message {} is malformed: {}.", selector_, reason));
  }

  [[noreturn]] void refuseType(std::size_t index, std::string_view expected) const {
    refuse(fmt::format("argument {} is not {}", index + 1, expected));
  }

  std::string_view selector_;
  const PropertyList& values_;
};

/// One message on its way to the service.
struct Message {
  FanControlHelperService& service;
  const MachServiceCaller& caller;
  const Arguments& arguments;
  std::shared_ptr<OneAnswer> answer;

  FanControlHelperService::DictionaryReply dictionaryReply() const {
    return [answer = answer](PropertyList dictionary, std::optional<Error> error) {
      (*answer)({std::move(dictionary), std::move(error)});
    };
  }
  FanControlHelperService::ErrorReply errorReply() const {
    return [answer = answer](std::optional<Error> error) { (*answer)({nullptr, std::move(error)}); };
  }
};

struct Route {
  std::size_t argumentCount;
  void (*deliver)(const Message&);
};

const std::map<std::string_view, Route>& routes() {
  static const std::map<std::string_view, Route> table{
      {Selector::status, {0, [](const Message& m) { m.service.status(m.caller, m.dictionaryReply()); }}},
      {Selector::beginSession,
       {1, [](const Message& m) { m.service.beginSession(m.caller, m.arguments.string(0), m.dictionaryReply()); }}},
      {Selector::heartbeat,
       {1, [](const Message& m) { m.service.heartbeat(m.caller, m.arguments.string(0), m.errorReply()); }}},
      {Selector::setFanMode,
       {3,
        [](const Message& m) {
          m.service.setFanMode(m.caller, m.arguments.fanIndex(0), m.arguments.boolean(1), m.arguments.string(2),
                               m.dictionaryReply());
        }}},
      {Selector::setFanTargetRPM,
       {3,
        [](const Message& m) {
          m.service.setFanTargetRPM(m.caller, m.arguments.fanIndex(0), m.arguments.integer(1), m.arguments.string(2),
                                    m.dictionaryReply());
        }}},
      {Selector::resetAll,
       {1, [](const Message& m) { m.service.resetAll(m.caller, m.arguments.string(0), m.dictionaryReply()); }}},
      {Selector::endSession,
       {1, [](const Message& m) { m.service.endSession(m.caller, m.arguments.string(0), m.errorReply()); }}},
      {Selector::prepareForUninstall,
       {0, [](const Message& m) { m.service.prepareForUninstall(m.caller, m.errorReply()); }}},
  };
  return table;
}

/// A client's text made fit for a message of our own: printable ASCII, bounded.
std::string quotable(std::string_view text) {
  constexpr std::size_t longest = 64;
  std::string result(text.substr(0, longest));
  for (char& character : result) {
    if (character < ' ' || character > '~') character = '?';
  }
  return result;
}

}  // namespace

void FanControlHelperDispatcher::dispatch(const MachServiceCaller& caller, const std::string& selector,
                                          const PropertyList& arguments, MachServiceListener::Answer answer) {
  const auto once = std::make_shared<OneAnswer>(std::move(answer));
  const auto refuse = [&](Error error) { (*once)({nullptr, std::move(error)}); };
  const auto route = routes().find(selector);
  if (route == routes().end()) {
    refuse(HelperXPCError::make(Code::internalFailure,
                                fmt::format("The helper knows no message \"{}\".", quotable(selector))));
    return;
  }
  try {
    const Arguments checked(selector, arguments);
    checked.requireCount(route->second.argumentCount);
    route->second.deliver({service_, caller, checked, once});
  } catch (const RefusedMessage& refused) {
    refuse(refused.asError());
  } catch (const std::exception&) {
    // Without an answer the client would wait for good.
    refuse(HelperXPCError::make(Code::internalFailure, currentExceptionAsError().localizedDescription()));
  }
}

}  // namespace halcyra
