#include "App/ScriptedHelper.h"

#include <algorithm>
#include <utility>

#include "fmt/format.h"

#include "Support/HelperMessages.h"
#include "XPC/HelperXPCError.h"

namespace halcyra::test {

namespace Selector = FanControlHelperSelector;

namespace {

constexpr Seconds replyDelay{0.0002};

std::string operationOf(const std::string& selector) {
  static const std::map<std::string, std::string, std::less<>> names{
      {std::string(Selector::status), "status"},          {std::string(Selector::beginSession), "begin"},
      {std::string(Selector::heartbeat), "heartbeat"},    {std::string(Selector::setFanMode), "mode"},
      {std::string(Selector::setFanTargetRPM), "target"}, {std::string(Selector::resetAll), "reset"},
      {std::string(Selector::endSession), "end"},         {std::string(Selector::prepareForUninstall), "prepare"}};
  const auto found = names.find(selector);
  return found == names.end() ? "unknown" : found->second;
}

template <typename T>
std::optional<T> takeFirst(std::map<std::string, std::deque<T>>& queues, const std::string& name) {
  auto& queue = queues[name];
  if (queue.empty()) {
    return std::nullopt;
  }
  T first = std::move(queue.front());
  queue.pop_front();
  return first;
}

}  // namespace

class ScriptedHelper::Connection : public MessageConnection, public std::enable_shared_from_this<Connection> {
 public:
  explicit Connection(ScriptedHelper& helper) : helper_(helper) {}

  void setInvalidationHandler(std::function<void()> handler) override { onInvalidation_ = std::move(handler); }
  void resume() override {}
  void call(const std::string& selector, PropertyList arguments, HelperAnswer reply) override {
    helper_.receive({operationOf(selector), std::move(arguments), shared_from_this(), std::move(reply)});
  }
  void invalidate() override {
    if (std::exchange(valid_, false) && onInvalidation_) {
      helper_.queue_->async(std::exchange(onInvalidation_, {}));
    }
  }
  bool isValid() const { return valid_; }

 private:
  ScriptedHelper& helper_;
  std::function<void()> onInvalidation_;
  bool valid_ = true;
};

ScriptedHelper::ScriptedHelper(VirtualProcess& process)
    : process_(process), queue_(process.makeSerialQueue("scripted-helper", QualityOfService::standard)) {}

std::shared_ptr<FanControlHelperConnection> ScriptedHelper::connect() {
  ++connections_;
  return std::make_shared<Connection>(*this);
}

void ScriptedHelper::receive(Call call) {
  if (call.operation == "begin") {
    sessionIDs_.push_back(call.arguments.at(0).get<std::string>());
  }
  if (call.operation != "heartbeat") {
    transcript_.push_back(line(call, sessionNumber(call.arguments)));
  }
  const auto held = held_.find(call.operation);
  if (held != held_.end()) {
    held->second.push_back(std::move(call));
    return;
  }
  queue_->async([this, call = std::move(call)] { answer(call); });
}

void ScriptedHelper::answer(const Call& call) {
  process_.clock().sleep(replyDelay);
  if (!call.connection->isValid()) {
    call.reply({nullptr, Error(cocoaErrorDomain, connectionInvalidCode, "The connection was invalidated.")});
  } else if (const auto broken = takeFirst(breaks_, call.operation)) {
    call.reply({nullptr, *broken});
  } else {
    call.reply(carryOut(call));
  }
}

HelperReply ScriptedHelper::carryOut(const Call& call) {
  if (auto failure = takeFirst(failures_, call.operation)) {
    return {nullptr, std::move(failure)};
  }
  const int session = sessionNumber(call.arguments);
  if (call.operation == "begin") {
    openSession_ = session;
    return {status(), std::nullopt};
  }
  if (call.operation == "prepare") {
    return {};
  }
  if (session == 0 || session != openSession_) {
    return {nullptr, HelperXPCError::make(HelperXPCError::Code::invalidSession)};
  }
  if (call.operation == "mode" || call.operation == "target") {
    const int index = call.arguments.at(0).get<int>();
    Fan& fan = fans.at(index);
    if (call.operation == "mode") {
      fan.mode = call.arguments.at(1).get<bool>() ? 1 : 0;
    } else {
      fan.target = call.arguments.at(1).get<std::int64_t>();
    }
    if (onFanChange) onFanChange(index, fan);
    return {PropertyList::object(), std::nullopt};
  }
  if (call.operation == "reset" || call.operation == "end") {
    setFansAutomatic();
    openSession_ = call.operation == "end" ? 0 : openSession_;
  }
  return {status(), std::nullopt};
}

void ScriptedHelper::setFansAutomatic() {
  for (auto& [index, fan] : fans) {
    fan.mode = 0;
    if (onFanChange) onFanChange(index, fan);
  }
}

void ScriptedHelper::dropSession() {
  openSession_ = 0;
  setFansAutomatic();
}

PropertyList ScriptedHelper::status() const {
  if (statusOverride) {
    return *statusOverride;
  }
  PropertyList list = PropertyList::array();
  for (const auto& [index, fan] : fans) {
    list.push_back({{"index", index},
                    {"mode", fan.mode},
                    {"actual", fan.actual},
                    {"target", fan.target},
                    {"minimum", fan.minimum},
                    {"maximum", fan.maximum},
                    {"controllable", fan.controllable}});
  }
  return {{"protocolVersion", 1}, {"fanCount", fans.size()}, {"fanTestMode", 0}, {"fans", list}};
}

int ScriptedHelper::sessionNumber(const PropertyList& arguments) {
  if (arguments.empty() || !arguments.back().is_string()) {
    return 0;
  }
  const auto found = std::find(sessionIDs_.begin(), sessionIDs_.end(), arguments.back().get<std::string>());
  return found == sessionIDs_.end() ? 0 : static_cast<int>(found - sessionIDs_.begin()) + 1;
}

std::string ScriptedHelper::line(const Call& call, int session) const {
  if (call.operation == "mode") {
    return fmt::format("mode S{} {} {}", session, call.arguments.at(0).get<int>(),
                       call.arguments.at(1).get<bool>() ? "manual" : "automatic");
  }
  if (call.operation == "target") {
    return fmt::format("target S{} {} {}", session, call.arguments.at(0).get<int>(),
                       call.arguments.at(1).get<std::int64_t>());
  }
  return session == 0 ? call.operation : fmt::format("{} S{}", call.operation, session);
}

void ScriptedHelper::release(const std::string& operation) {
  auto calls = held_.extract(operation);
  if (!calls.empty()) {
    for (Call& call : calls.mapped()) {
      queue_->async([this, call = std::move(call)] { answer(call); });
    }
  }
}

std::size_t ScriptedHelper::heldCount(const std::string& operation) const {
  const auto held = held_.find(operation);
  return held == held_.end() ? 0 : held->second.size();
}

std::size_t ScriptedHelper::count(const std::string& line) const {
  return static_cast<std::size_t>(std::count(transcript_.begin(), transcript_.end(), line));
}

}  // namespace halcyra::test
