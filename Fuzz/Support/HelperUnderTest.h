#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Support/HelperRig.h"

namespace halcyra::fuzz {

/// The real daemon on a simulated machine in virtual time, started on demand as the bus does it, with its promises
/// checked all the while: without a session no fan is driven, no target leaves the fan's limits, every message has one
/// answer, and strangers get nothing.
class HelperUnderTest {
 public:
  HelperUnderTest();

  /// `caller`: '0' the superuser, '2' another connection of the registered user, '3' a stranger, else the user's first.
  void send(char caller, const std::string& selector, const PropertyList& arguments);
  void clientGone(char caller);
  /// A wrong command does nothing. What another party does to the fans is none of the helper's promises and is left
  /// out, and so is a latch that takes longer than any machine's, and a mode key that lies where writes are lost:
  /// nothing is left to go by.
  void applyFault(const std::string& command);
  /// The daemon ends as by SIGKILL and is started again.
  void restart();
  void wait(double seconds);
  double now() { return rig_.now(); }

  /// Every fault is undone and every client leaves: the firmware has its fans back, and the daemon ends.
  void finish();

 private:
  struct Message {
    FanControlHelperCaller caller;
    int answers = 0;
    /// The daemon was killed before it answered.
    bool isLost = false;
  };

  void noteWrite(const test::AcceptedWrite& write);
  void checkOwnership();
  void checkAnswer(Message& message, const test::HelperReply& reply);
  bool isAutomatic();

  std::vector<std::shared_ptr<Message>> messages_;
  double lastSession_ = 0;
  double lastMessage_ = 0;
  bool hadFaults_ = false;
  bool callsAreSlow_ = false;
  bool limitsLie_ = false;
  bool modesLie_ = false;
  bool writesAreLost_ = false;
  bool wasKilled_ = false;
  /// Last: its writes are noted to the end.
  test::HelperRig rig_{false};
};

}  // namespace halcyra::fuzz
