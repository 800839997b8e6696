#include "Client/ClientHarness.h"

#include <thread>

#include "gtest/gtest.h"

#include "XPC/FanControlXPC.h"
#include "XPC/HelperXPCError.h"

namespace halcyra::test {

ClientHarness::ClientHarness()
    : process(scheduler.makeProcess("application")),
      bus(scheduler),
      doubles(process, iokit, bus.client(process, {501, 1001})) {
  bus.setActivation(std::string(FanControlXPC::machServiceName), [this] { startHelper(); });
  std::thread::id mainThread;
  process->mainQueue().sync([&] { mainThread = std::this_thread::get_id(); });
  client = HelperClient::make(doubles.platform);
  client->setSessionErrorHandler([this, mainThread](const Error& error) {
    EXPECT_EQ(std::this_thread::get_id(), mainThread);
    sessionErrors.emplace_back(now(), error);
  });
}

void ClientHarness::startHelper() {
  helperProcess = scheduler.makeProcess("helper");
  listener = bus.listen(helperProcess, std::string(FanControlXPC::machServiceName), helperProcess->mainQueue());
  service = std::make_shared<MessageService>([this](const FanControlHelperCaller& caller, const std::string& selector,
                                                    const PropertyList& arguments, const HelperAnswer& answer) {
    received.push_back({now(), selector, arguments, caller.connectionName});
    const auto scripted = answers.find(selector);
    const bool answersStatus =
        selector == FanControlHelperSelector::beginSession || selector == FanControlHelperSelector::resetAll;
    answer(scripted != answers.end() ? scripted->second
                                     : HelperReply{answersStatus ? status() : PropertyList(), std::nullopt});
  });
  listener->setService(service);
  listener->setClientGoneHandler([this](const std::string& name) { goneClients.push_back(name); });
  listener->resume();
}

std::vector<double> ClientHarness::timesOf(std::string_view selector) const {
  std::vector<double> result;
  for (const ReceivedMessage& message : received) {
    if (message.selector == selector) result.push_back(message.at);
  }
  return result;
}

std::vector<std::string> ClientHarness::selectors() const {
  std::vector<std::string> result;
  for (const ReceivedMessage& message : received) {
    result.push_back(message.selector);
  }
  return result;
}

HelperClient::DictionaryCompletion ClientHarness::dictionaryInto(const PendingOutcome& outcome) {
  return [this, outcome](PropertyList dictionary, std::optional<Error> error) {
    ++outcome->count;
    outcome->dictionary = std::move(dictionary);
    outcome->error = std::move(error);
    outcome->at = now();
  };
}

HelperClient::ErrorCompletion ClientHarness::errorInto(const PendingOutcome& outcome) {
  return [completion = dictionaryInto(outcome)](std::optional<Error> error) { completion(nullptr, std::move(error)); };
}

PendingOutcome ClientHarness::begin() {
  auto outcome = std::make_shared<Outcome>();
  client->beginSession(dictionaryInto(outcome));
  return outcome;
}

std::string ClientHarness::beginSession() {
  const auto outcome = begin();
  settle();
  EXPECT_EQ(outcome->count, 1);
  EXPECT_EQ(outcome->error, std::nullopt);
  EXPECT_TRUE(client->sessionID().has_value());
  return client->sessionID().value_or("");
}

PendingOutcome ClientHarness::end() {
  auto outcome = std::make_shared<Outcome>();
  client->endSession(errorInto(outcome));
  return outcome;
}

PendingOutcome ClientHarness::end(const std::string& sessionID) {
  auto outcome = std::make_shared<Outcome>();
  client->endSession(sessionID, errorInto(outcome));
  return outcome;
}

PendingOutcome ClientHarness::setMode(int fan, bool manual) {
  auto outcome = std::make_shared<Outcome>();
  client->setMode(fan, manual, dictionaryInto(outcome));
  return outcome;
}

PendingOutcome ClientHarness::setTarget(int fan, std::int64_t rpm) {
  auto outcome = std::make_shared<Outcome>();
  client->setTarget(fan, rpm, dictionaryInto(outcome));
  return outcome;
}

PendingOutcome ClientHarness::resetAll() {
  auto outcome = std::make_shared<Outcome>();
  client->resetAll(dictionaryInto(outcome));
  return outcome;
}

const PropertyList& ClientHarness::status() {
  static const PropertyList dictionary{{"protocolVersion", 1}, {"fanCount", 0}, {"fans", PropertyList::array()}};
  return dictionary;
}

Error helperError(std::int64_t code, std::string_view description) {
  return description.empty() ? Error(HelperXPCError::domain, code) : Error(HelperXPCError::domain, code, description);
}

Error cocoaError(std::int64_t code) {
  return Error(cocoaErrorDomain, code, "Transport failed.");
}

}  // namespace halcyra::test
