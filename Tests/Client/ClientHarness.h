#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Client/HelperClient.h"
#include "Support/HelperMessages.h"
#include "Support/InProcessMachServices.h"
#include "Support/ScriptedIOKit.h"
#include "Support/TestPlatform.h"
#include "Support/VirtualScheduler.h"

namespace halcyra::test {

namespace Selector = FanControlHelperSelector;
using Fault = MessageFault::Kind;

/// A selector as messages and scripts name it.
inline std::string text(std::string_view selector) {
  return std::string(selector);
}

/// One message as the helper received it.
struct ReceivedMessage {
  double at = 0;
  std::string selector;
  PropertyList arguments;
  std::string connectionName;
};

/// How a call ended. A call that has not ended has count 0.
struct Outcome {
  int count = 0;
  PropertyList dictionary;
  std::optional<Error> error;
  double at = 0;
};
using PendingOutcome = std::shared_ptr<Outcome>;

/// The client in an application process, and a helper process that records what it is sent and answers as told.
class ClientHarness {
 public:
  ClientHarness();

  /// Starts the helper's process, as the bus does it on demand.
  void startHelper();
  /// What the helper answers to a selector: success with the status dictionary, or nothing, unless scripted.
  std::map<std::string, HelperReply, std::less<>> answers;
  std::vector<ReceivedMessage> received;
  std::vector<std::string> goneClients;

  void run(double seconds) { scheduler.runFor(Seconds{seconds}); }
  double now() const { return scheduler.elapsed().count(); }
  /// Lets a message and its answer pass.
  void settle() { run(0.01); }
  std::vector<double> timesOf(std::string_view selector) const;
  std::vector<std::string> selectors() const;
  const ReceivedMessage& last() const { return received.back(); }

  HelperClient::DictionaryCompletion dictionaryInto(const PendingOutcome& outcome);
  HelperClient::ErrorCompletion errorInto(const PendingOutcome& outcome);
  PendingOutcome begin();
  /// Begins a session, which must succeed, and returns its ID.
  std::string beginSession();
  PendingOutcome end();
  PendingOutcome end(const std::string& sessionID);
  PendingOutcome setMode(int fan, bool manual);
  PendingOutcome setTarget(int fan, std::int64_t rpm);
  PendingOutcome resetAll();

  static const PropertyList& status();

  VirtualScheduler scheduler;
  std::shared_ptr<VirtualProcess> process;
  InProcessMachServices bus;
  ScriptedIOKit iokit;
  TestPlatform doubles;
  std::shared_ptr<VirtualProcess> helperProcess;
  std::shared_ptr<MessageService> service;
  std::unique_ptr<FanControlHelperListener> listener;
  std::shared_ptr<HelperClient> client;
  /// What the session-error callback was called with, and when.
  std::vector<std::pair<double, Error>> sessionErrors;
};

Error helperError(std::int64_t code, std::string_view description = "");
Error cocoaError(std::int64_t code);

}  // namespace halcyra::test
