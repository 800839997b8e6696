#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Daemon/CallerPolicy.h"
#include "Daemon/FanExecutor.h"
#include "Daemon/FanWorkQueue.h"
#include "Daemon/OneShotTimer.h"
#include "Helpers/FanControlProcessLock.h"
#include "Platform/Clock.h"
#include "Platform/Dispatch.h"
#include "Platform/FanControlHelper.h"
#include "Platform/IOKit.h"
#include "Platform/Log.h"
#include "SMC/IOKitSMCBridge.h"

namespace halcyra {

/// What the daemon takes from its operating system. The parts outlive the daemon.
struct HelperPlatform {
  Clock& clock;
  Dispatch& dispatch;
  LogSink& log;
  IOKit& iokit;
};

struct HelperDaemonOptions {
  std::string lockFile{FanControlProcessLock::defaultURL};
  /// Whom the lock file must belong to.
  std::optional<std::uint32_t> lockOwnerUID;
  CallerPolicy callers;
};

/// The privileged helper: one session at a time, bound to the connection that opened it, with a watchdog on its
/// heartbeats. At every instant either that session owns a fan or the firmware does: the end of the session, however it
/// comes, hands every fan back, and a hand-back that does not succeed is repeated until it does. The control lock is
/// held as long as a session lives or a fan is still to be handed back.
///
/// Everything runs on the main queue, except the work on the SMC, which blocks and has a queue of its own; heartbeats
/// are therefore answered while a write waits for its latch.
class HelperDaemon : public FanControlHelperService, public std::enable_shared_from_this<HelperDaemon> {
 public:
  /// After this long without a session or a message the daemon ends; it is started again on demand.
  static constexpr Seconds idleTime{30.0};
  /// Pause between the attempts to hand back a fan that failed.
  static constexpr Seconds retryPeriod{2.0};
  /// How often a fan is looked at whose earlier manual command may still become effective.
  static constexpr Seconds watchPeriod{0.5};
  /// A daemon that is told to stop gives up on an SMC that cannot be reached for this long.
  static constexpr Seconds unreachableLimit{10.0};
  /// Time for the last answers to leave before the process ends.
  static constexpr Seconds farewellTime{0.2};
  static constexpr const char* lockOwnerDescription = "Aerovane helper";

  /// `finished` is called on the main queue, once, with the exit status, when the process is to end.
  static std::shared_ptr<HelperDaemon> make(const HelperPlatform& platform, HelperDaemonOptions options,
                                            std::function<void(int status)> finished);
  ~HelperDaemon() override;

  /// Connects the listener's handlers; the caller resumes it. The listener may outlive the daemon.
  void serve(FanControlHelperListener& listener);
  /// Hands back whatever an earlier process left in manual mode, unless a live owner holds the control lock.
  void start();
  /// Hands the fans back, then finishes with `status`. May be repeated.
  void stop(int status, const std::string& reason);
  /// The client with this connection is gone; ends its session.
  void clientGone(const std::string& connectionName);

  bool hasSession() const { return session_.has_value(); }

  void status(const Caller& caller, DictionaryReply reply) override;
  void beginSession(const Caller& caller, const std::string& sessionID, DictionaryReply reply) override;
  void heartbeat(const Caller& caller, const std::string& sessionID, ErrorReply reply) override;
  void setFanMode(const Caller& caller, std::int64_t fan, bool manual, const std::string& sessionID,
                  DictionaryReply reply) override;
  void setFanTargetRPM(const Caller& caller, std::int64_t fan, std::int64_t rpm, const std::string& sessionID,
                       DictionaryReply reply) override;
  void resetAll(const Caller& caller, const std::string& sessionID, DictionaryReply reply) override;
  void endSession(const Caller& caller, const std::string& sessionID, ErrorReply reply) override;
  void prepareForUninstall(const Caller& caller, ErrorReply reply) override;

 private:
  struct Session {
    std::string id;
    /// The only connection that may use the id.
    std::string connectionName;
    std::uint64_t serial = 0;
    /// False while its start is under way: no command is accepted, and the watchdog does not run yet.
    bool isOpen = false;
    Instant lastHeartbeat;
  };
  struct WorkResult {
    PropertyList value;
    std::optional<Error> error;
    /// A hand-back came in between, and the work did not do what it was asked.
    bool superseded = false;
  };
  using HandBackCompletion = std::function<void(const HandBackReport&)>;
  using ResultHandler = std::function<void(WorkResult)>;

  HelperDaemon(const HelperPlatform& platform, HelperDaemonOptions options, std::function<void(int)> finished);

  // HelperDaemonSession.cpp: the messages.
  std::optional<Error> refusal(const Caller& caller);
  std::optional<Error> sessionRefusal(const Caller& caller, const std::string& sessionID);
  std::optional<Error> lockRefusal();
  void openSession(std::uint64_t serial, DictionaryReply reply);
  void sessionOpened(std::uint64_t serial, WorkResult result, const DictionaryReply& reply);
  void command(const Caller& caller, std::int64_t fan, const std::string& sessionID,
               std::function<PropertyList(int fan)> work, DictionaryReply reply);
  void answerStatus(std::uint64_t serial, DictionaryReply reply);
  bool isCurrent(std::uint64_t serial) const { return session_ && session_->serial == serial; }
  /// Forgets the session and hands the fans back.
  void endCurrentSession(const std::string& reason, HandBackCompletion completion);
  void noteHeartbeat();
  void endSessionIfStale();
  void watchSession();

  // HelperDaemon.cpp: hand-backs and the end of the process.
  void perform(std::uint64_t ticket, std::function<PropertyList()> work, ResultHandler handler);
  void handBack(const std::string& reason, HandBackCompletion completion);
  /// Does nothing, and completes with an empty report, when a live owner holds the control lock.
  void handBackUnlessOwned(const std::string& reason, HandBackCompletion completion);
  bool acquireLockUnlessOwned();
  void handBackAgain();
  void note(const HandBackReport& report);
  /// Does what is due when nothing is under way: retries, releasing the lock, the idle timer, the end.
  void settle();
  /// Ending now could leave a fan in manual mode. (Idle, a helper that waits stays, too.)
  bool mustStay() const { return report_.owed && (report_.mayBeManual || (stopStatus_ && isWaiting())); }
  /// For fans that an earlier process may have left in manual mode: for their keys, or for the driver.
  bool isWaiting() const { return report_.isWatched || (startupHandBackDue_ && report_.owed); }
  /// Starts the idle time anew.
  void touch();
  void idle();
  void farewell();
  void finish(int status);

  Clock& clock_;
  Queue& main_;
  Logger logger_;
  HelperDaemonOptions options_;
  std::function<void(int)> finished_;
  FanControlProcessLock lock_;

  std::optional<Session> session_;
  std::uint64_t lastSerial_ = 0;
  /// The start-up hand-back could not be made yet.
  bool startupHandBackDue_ = true;
  bool refusesSessions_ = false;
  std::optional<int> stopStatus_;
  std::optional<Instant> unreachableSince_;
  bool hasFinished_ = false;
  int handBacksOut_ = 0;
  int workOut_ = 0;
  bool againOut_ = false;
  /// The newest one.
  HandBackReport report_;
  std::string lastFailureText_;

  OneShotTimer watchdog_;
  OneShotTimer retryTimer_;
  OneShotTimer idleTimer_;
  OneShotTimer farewellTimer_;

  IOKitSMCBridge bridge_;
  std::unique_ptr<FanExecutor> executor_;
  /// Last: its work uses what is above.
  std::unique_ptr<FanWorkQueue> queue_;
};

}  // namespace halcyra
