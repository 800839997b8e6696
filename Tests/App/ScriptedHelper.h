#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Support/HelperMessages.h"
#include "Support/VirtualScheduler.h"

namespace halcyra::test {

/// The far end of the helper's service under the test's control: answers like a good helper with one session, unless
/// told otherwise, and keeps a transcript. Replies arrive on a queue of their own, 0.2 ms after the call.
///
/// The transcript has one line per message except heartbeats: "begin S1", "mode S1 0 manual", "target S1 0 2530",
/// "reset S1", "end S1", "prepare"; sessions are numbered in the order in which they began. Operations are named
/// by the first word of their line, heartbeats "heartbeat".
class ScriptedHelper : public FanControlHelperConnections {
 public:
  struct Fan {
    int mode = 0;
    std::int64_t actual = 1500;
    std::int64_t target = 1500;
    std::int64_t minimum = 1200;
    std::int64_t maximum = 5000;
    bool controllable = true;
  };

  explicit ScriptedHelper(VirtualProcess& process);

  std::shared_ptr<FanControlHelperConnection> connect() override;

  std::map<int, Fan> fans{{0, {}}, {1, {}}};
  /// Called when a fan has been given a mode or target.
  std::function<void(int index, const Fan& fan)> onFanChange;
  /// Replaces the status dictionary.
  std::optional<PropertyList> statusOverride;

  /// The next call of the operation is answered with this error.
  void failNext(const std::string& operation, Error error) { failures_[operation].push_back(std::move(error)); }
  /// The connection breaks under the next call of the operation.
  void breakNext(const std::string& operation, Error error) { breaks_[operation].push_back(std::move(error)); }
  /// Calls of the operation get no answer before `release`; they are carried out only then.
  void hold(const std::string& operation) { held_[operation]; }
  void release(const std::string& operation);
  std::size_t heldCount(const std::string& operation) const;

  /// The helper ends the session by itself, fans back to automatic.
  void dropSession();

  const std::vector<std::string>& transcript() const { return transcript_; }
  void clearTranscript() { transcript_.clear(); }
  std::size_t count(const std::string& line) const;
  /// The open session's number as in the transcript, 0 for none.
  int openSession() const { return openSession_; }
  int connections() const { return connections_; }

 private:
  class Connection;
  struct Call {
    std::string operation;
    PropertyList arguments;
    std::shared_ptr<Connection> connection;
    HelperAnswer reply;
  };

  void receive(Call call);
  void answer(const Call& call);
  HelperReply carryOut(const Call& call);
  void setFansAutomatic();
  PropertyList status() const;
  int sessionNumber(const PropertyList& arguments);
  std::string line(const Call& call, int session) const;

  VirtualProcess& process_;
  std::map<std::string, std::deque<Error>> failures_;
  std::map<std::string, std::deque<Error>> breaks_;
  std::map<std::string, std::vector<Call>> held_;
  std::vector<std::string> sessionIDs_;
  int openSession_ = 0;
  int connections_ = 0;
  std::vector<std::string> transcript_;
  /// Last: no reply is delivered once the rest is gone.
  std::unique_ptr<Queue> queue_;
};

}  // namespace halcyra::test
