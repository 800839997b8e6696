#include "Support/ObservationTaps.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>
#include <utility>

#include "Helpers/SensorReader.h"
#include "SMC/SMCParamStruct.h"
#include "Support/ForwardingIOKit.h"
#include "Support/HelperMessages.h"
#include "VirtualMac/KeyTable.h"

namespace halcyra::test {

namespace {

/// Seconds for which a session that has ended is still of interest.
constexpr double memory = 60;

/// Where the messages have the session's identifier.
std::string sessionOf(const std::string& selector, const PropertyList& arguments) {
  namespace Selector = FanControlHelperSelector;
  const bool isCommand = selector == Selector::setFanMode || selector == Selector::setFanTargetRPM;
  const std::size_t position = isCommand ? 2 : 0;
  if (!arguments.is_array() || arguments.size() <= position || !arguments[position].is_string()) return {};
  return arguments[position].get<std::string>();
}

bool isCommand(const std::string& selector) {
  return selector == FanControlHelperSelector::setFanMode || selector == FanControlHelperSelector::setFanTargetRPM;
}

template <typename Keys>
bool isAmong(SMCKey key, const Keys& keys) {
  return std::find(keys.begin(), keys.end(), key) != keys.end();
}

}  // namespace

class SessionRecord::Tap : public FilteredMessages {
 public:
  Tap(SessionRecord& record, std::unique_ptr<FanControlHelperListener> inner, std::shared_ptr<VirtualProcess> process)
      : FilteredMessages(
            std::move(inner),
            [&record, process](const Handler& handler, const FanControlHelperCaller& caller,
                               const std::string& selector, const PropertyList& arguments, HelperAnswer answer) {
              record.received(caller, selector, arguments);
              handler(caller, selector, arguments,
                      [&record, process, caller, selector, arguments, at = record.now_(),
                       answer = std::move(answer)](HelperReply reply) {
                        record.answered(process, caller, selector, arguments, at, !reply.error.has_value());
                        answer(std::move(reply));
                      });
            }),
        record_(record),
        process_(std::move(process)) {}

  void setClientGoneHandler(std::function<void(const std::string&)> handler) override {
    FilteredMessages::setClientGoneHandler([this, handler = std::move(handler)](const std::string& connection) {
      record_.endWhere([&](const ObservedSession& session) { return session.connection == connection; });
      handler(connection);
    });
  }
  void setLostHandler(std::function<void()> handler) override {
    FilteredMessages::setLostHandler([this, handler = std::move(handler)] {
      record_.endWhere([&](const ObservedSession& session) { return session.helper == process_; });
      handler();
    });
  }

 private:
  SessionRecord& record_;
  std::shared_ptr<VirtualProcess> process_;
};

std::unique_ptr<FanControlHelperListener> SessionRecord::tap(std::unique_ptr<FanControlHelperListener> inner,
                                                             std::shared_ptr<VirtualProcess> process) {
  return std::make_unique<Tap>(*this, std::move(inner), std::move(process));
}

const ObservedSession* SessionRecord::live() const {
  const auto found =
      std::find_if(sessions_.rbegin(), sessions_.rend(), [](const auto& session) { return !session.ended; });
  return found == sessions_.rend() ? nullptr : &*found;
}

const ObservedSession* SessionRecord::lastOf(std::int32_t processID) const {
  const auto found = std::find_if(sessions_.rbegin(), sessions_.rend(),
                                  [&](const auto& session) { return session.processID == processID; });
  return found == sessions_.rend() ? nullptr : &*found;
}

void SessionRecord::update() {
  endWhere([](const ObservedSession& session) { return !session.helper->isAlive(); });
  const double now = now_();
  std::erase_if(sessions_, [&](const auto& session) { return session.ended && now - *session.ended > memory; });
}

void SessionRecord::received(const FanControlHelperCaller& caller, const std::string& selector,
                             const PropertyList& arguments) {
  namespace Selector = FanControlHelperSelector;
  if (selector == Selector::prepareForUninstall) {
    endWhere([&](const ObservedSession& session) { return session.connection == caller.connectionName; });
    return;
  }
  ObservedSession* const session = find(sessionOf(selector, arguments));
  if (session == nullptr || session->ended || session->connection != caller.connectionName) return;
  if (isCommand(selector)) ++session->commandsOut;
  // Control ends with the request for the fans, the session itself with its end: nothing may be written after either.
  if (selector == Selector::resetAll || selector == Selector::endSession) session->ended = now_();
}

void SessionRecord::answered(const std::shared_ptr<VirtualProcess>& helper, const FanControlHelperCaller& caller,
                             const std::string& selector, const PropertyList& arguments, double receivedAt,
                             bool succeeded) {
  namespace Selector = FanControlHelperSelector;
  const std::string id = sessionOf(selector, arguments);
  if (selector == Selector::beginSession && succeeded) {
    endWhere([&](const ObservedSession& session) { return session.helper == helper; });
    sessions_.push_back({id, caller.connectionName, caller.processID, helper, now_(), now_(), std::nullopt, 0});
    return;
  }
  ObservedSession* const session = find(id);
  if (session == nullptr) return;
  if (isCommand(selector)) --session->commandsOut;
  if (selector == Selector::heartbeat && succeeded && !session->ended) session->lastHeartbeat = receivedAt;
}

ObservedSession* SessionRecord::find(const std::string& id) {
  const auto found = std::find_if(sessions_.begin(), sessions_.end(), [&](const auto& each) { return each.id == id; });
  return found == sessions_.end() ? nullptr : &*found;
}

template <typename Condition>
void SessionRecord::endWhere(Condition condition) {
  for (ObservedSession& session : sessions_) {
    if (!session.ended && condition(session)) session.ended = now_();
  }
}

class TelemetryRecord::Tap : public ForwardingIOKit {
 public:
  Tap(TelemetryRecord& record, IOKit& inner) : ForwardingIOKit(inner), record_(record) {}

  kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                          std::size_t inputSize, void* output, std::size_t* outputSize) override {
    const kern_return_t status =
        ForwardingIOKit::IOConnectCallStructMethod(connection, selector, input, inputSize, output, outputSize);
    SMCParamStruct question;
    std::memcpy(&question, input, sizeof question);
    const bool isInfo = question.command == SMCParamStruct::readKeyInfo;
    if (!isInfo && question.command != SMCParamStruct::readBytes) return status;
    const SMCKey key(question.key);
    bool succeeded = status == kIOReturnSuccess;
    std::optional<double> value;
    if (succeeded) {
      SMCParamStruct reply;
      std::memcpy(&reply, output, sizeof reply);
      succeeded = reply.result == 0;
      const KeyEntry* const entry = KeyTable::shared().find(key);
      if (succeeded && !isInfo && entry != nullptr) {
        value = decodeNumber(std::span<const std::uint8_t>(reply.bytes.data(), entry->size), entry->type);
      }
    }
    record_.called(key, isInfo, succeeded, value);
    return status;
  }

 private:
  TelemetryRecord& record_;
};

std::unique_ptr<IOKit> TelemetryRecord::tap(IOKit& inner) {
  return std::make_unique<Tap>(*this, inner);
}

void TelemetryRecord::called(SMCKey key, bool isInfo, bool succeeded, std::optional<double> value) {
  // The first thing that a poll reads.
  if (key == SMCKey::fan(0, "Ac") && lastKey_ != key) {
    judge();
    round_ = Round();
  }
  lastKey_ = key;
  const char first = static_cast<char>(key.rawValue >> 24);
  if (first == 'F') {
    noteFan(key, isInfo, succeeded, value);
  } else if (first == 'T') {
    noteDie(key, isInfo, succeeded, value);
  }
}

void TelemetryRecord::noteFan(SMCKey key, bool isInfo, bool succeeded, std::optional<double> value) {
  for (int fan = 0; fan < KeyTable::fanCount; ++fan) {
    const bool isMode = key == SMCKey::fan(fan, "Md");
    const bool isSpeed =
        key == SMCKey::fan(fan, "Ac") || key == SMCKey::fan(fan, "Mn") || key == SMCKey::fan(fan, "Mx");
    if (!isMode && !isSpeed) continue;
    round_.fanFailed = round_.fanFailed || !succeeded;
    if (isInfo || !succeeded) continue;
    ++round_.fanReads;
    const bool plausible = value && std::isfinite(*value) && *value >= 0 && *value < 20'000;
    round_.fanDoubtful = round_.fanDoubtful || !plausible;
  }
}

void TelemetryRecord::noteDie(SMCKey key, bool isInfo, bool succeeded, std::optional<double> value) {
  const bool isProcessor = isAmong(key, SensorReader::m3CPUCoreKeys);
  const bool isGraphics = isAmong(key, SensorReader::m3GPUClusterKeys);
  const bool isHotspot = key == SensorReader::cpuHotspotKey || key == SensorReader::gpuHotspotKey;
  if (!isProcessor && !isGraphics && !isHotspot) {
    // The list of all sensors reads the dies once more; nothing is decided by it.
    round_.listing = true;
    judge();
    return;
  }
  if (round_.listing || (isInfo && succeeded) || isAmong(key, round_.touched)) return;
  round_.touched.push_back(key);
  const bool plausible = value && *value >= leastPlausible && *value <= mostPlausible;
  round_.processorReads += isProcessor ? 1 : 0;
  round_.graphicsReads += isGraphics ? 1 : 0;
  if (!plausible) return;
  round_.processorPlausible += isProcessor ? 1 : 0;
  round_.graphicsPlausible += isGraphics ? 1 : 0;
  round_.hottest = std::max(round_.hottest, *value);
}

void TelemetryRecord::judge() {
  // So many that three quarters of whatever the reader has settled on are among them; so few that they never are.
  constexpr int manyProcessors = 14;
  constexpr int manyGraphics = 7;
  constexpr int fewProcessors = 4;
  constexpr int fewGraphics = 2;
  constexpr int allFanReads = 8;
  if (std::exchange(round_.judged, true)) return;
  const bool blind = round_.fanFailed || (round_.processorReads > 0 && round_.processorPlausible < fewProcessors) ||
                     (round_.graphicsReads > 0 && round_.graphicsPlausible < fewGraphics);
  if (blind) {
    ++blindRounds_;
    return;
  }
  if (round_.processorReads == 0) return;
  blindRounds_ = 0;
  const bool confident = round_.fanReads >= allFanReads && !round_.fanDoubtful &&
                         round_.processorPlausible >= manyProcessors && round_.graphicsPlausible >= manyGraphics;
  if (confident && round_.hottest >= criticalTemperature) lastCritical_ = now_();
}

}  // namespace halcyra::test
