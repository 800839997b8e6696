#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Support/HelperMessages.h"

namespace halcyra::test {

/// A pair of ends of the link to the helper, and what came out at both.
class Link {
 public:
  struct Message {
    FanControlHelperCaller caller;
    std::string selector;
    PropertyList arguments;
    HelperAnswer answer;
  };
  struct Records {
    std::vector<Message> messages;
    std::vector<HelperReply> answers;
    std::vector<std::string> gone;
    int invalidations = 0;
    int losses = 0;
  };

  virtual ~Link() = default;

  virtual FanControlHelperConnections& connections() = 0;
  virtual std::uint32_t userID() const = 0;
  virtual std::int32_t processID() const = 0;
  /// The helper's process starts, and ends as when it is killed.
  virtual void startHelper() = 0;
  virtual void endHelper() = 0;
  virtual void loseBus() = 0;
  virtual void restoreBus() = 0;
  /// A client of its own sends a heartbeat and ends. The name that its connection had.
  virtual std::string speakAndLeave() = 0;
  /// Waits until the records are so; throws when they do not become so.
  virtual void await(const std::function<bool(const Records&)>& isSo) = 0;

  Message nextMessage();
  void note(const std::function<void(Records&)>& change);
  template <typename Read>
  auto take(Read read) {
    const std::lock_guard lock(mutex_);
    return read(records_);
  }
  void dropService() { service_.reset(); }

 protected:
  Link();
  /// Sets service and handlers, and resumes.
  void serve(FanControlHelperListener& listener);

  std::mutex mutex_;
  std::condition_variable changed_;
  Records records_;
  std::shared_ptr<MessageService> service_;
};

/// The realisations that the test program has: "DBus" has a bus, a client and a helper with threads of their own,
/// "InProcess" is the bus of tests in virtual time, "XPC" is the Mac's over doubles of the system's calls.
std::vector<std::string> linkKinds();
std::unique_ptr<Link> makeLink(const std::string& kind);

}  // namespace halcyra::test
