#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Daemon/HelperDaemon.h"
#include "Support/CapturingLogSink.h"
#include "Support/HelperMessages.h"
#include "Support/TemporaryFolder.h"
#include "Support/VirtualMacIOKit.h"
#include "Support/VirtualScheduler.h"
#include "VirtualMac/VirtualMac.h"

namespace halcyra::test {

/// One write that the firmware has accepted.
struct AcceptedWrite {
  std::string key;
  double value = 0;
  /// Seconds since the start.
  double at = 0;
};

/// The real daemon behind a listener, on a simulated machine in virtual time, without an application: messages come
/// from whomever a test names.
class HelperRig {
 public:
  static constexpr std::uint32_t registeredUser = 501;
  using Reply = std::function<void(const HelperReply&)>;

  /// With `connectionsDie` a driver that was gone has to be opened anew: what still holds a fan must not lean on a
  /// connection that comes back by itself.
  explicit HelperRig(bool connectionsDie = true);
  ~HelperRig();
  HelperRig(const HelperRig&) = delete;
  HelperRig& operator=(const HelperRig&) = delete;

  /// Starts the daemon, as the bus does it, unless it runs.
  void start();
  /// It ends as by SIGKILL.
  void kill();
  /// '0' the superuser, '1' and '2' connections of the registered user, '3' a stranger.
  static FanControlHelperCaller caller(char name);
  void send(char caller, const std::string& selector, const PropertyList& arguments, Reply reply);
  void clientGone(char caller);
  void busLost();
  void onMain(std::function<void(HelperDaemon&)> work);

  double now() { return scheduler.elapsed().count(); }
  std::vector<int> modes();
  bool hasSession() const { return daemon && daemon->hasSession(); }
  bool lockIsFree();

  VirtualScheduler scheduler;
  VirtualMac machine;
  /// The machine as seen from outside the daemon's process.
  VirtualMacIOKit observer;
  CapturingLogSink log;
  std::shared_ptr<VirtualProcess> process;
  std::shared_ptr<HelperDaemon> daemon;
  std::optional<int> finished;
  std::vector<AcceptedWrite> writes;
  std::function<void(const AcceptedWrite&)> onWrite;
  std::string lockFile;

 private:
  class Listener;

  bool connectionsDie_;
  TemporaryFolder folder_;
  std::unique_ptr<VirtualMacIOKit> iokit_;
  std::unique_ptr<Listener> listener_;
  /// Killed processes are kept: pieces of their work may still be referred to.
  std::vector<std::shared_ptr<VirtualProcess>> endedProcesses_;
  std::vector<std::unique_ptr<VirtualMacIOKit>> endedDrivers_;
};

/// A text of what the helper is sent and what must come of it, played on a rig of its own.
///
/// Statements are separated by ";". CALLER as for `HelperRig`; SESSION is A or B, "none" or a text of its own:
///   status CALLER, prepare CALLER, begin|beat|reset|end CALLER SESSION
///   mode CALLER SESSION FAN manual|automatic, target CALLER SESSION FAN RPM
///     each may be called something, "x: end 1 A", and is then answered later: "x = …"; or at once, "end 1 A = …":
///     ok, a code of the helper's with a part of its text, or "open" for no answer so far
///   start (is done first, with 12 s, unless "cold" is the first statement), kill, stop, gone CALLER, lost
///   take                            session A of caller 1, with both fans manual at 3000 RPM; its end is awaited
///   written, wait S, fault TEXT, clear …, suspend, resume, hang S, clock S, heart SECONDS of heartbeats, other-lock
///   on|off mark; now: C, C …; until S: C; during S: C       as in `Scenario`
/// Conditions: automatic, manual, modes M M, session, locked, running, exited N, unwritten, wrote KEY [COUNT],
/// handbacks (since the mark: nothing but those), targets (since the mark: none), logged TEXT; "not" before any.
class HelperScript {
 public:
  /// Fails the test with what went wrong.
  static void check(const std::string& text);

 private:
  struct Answer {
    int count = 0;
    HelperReply reply;
  };

  std::string play(const std::string& text);
  void statement(const std::string& text);
  bool event(const std::vector<std::string>& words, const std::string& text);
  bool timed(const std::string& text);
  std::shared_ptr<Answer> send(const std::vector<std::string>& words);
  void judge(Answer& answer, const std::string& wanted);
  bool holds(const std::string& condition);
  void expect(bool holds, const std::string& what);

  HelperRig rig_;
  std::map<std::string, std::shared_ptr<Answer>> named_;
  std::size_t mark_ = 0;
  std::string failure_;
  std::unique_ptr<FanControlProcessLock> otherLock_;
};

}  // namespace halcyra::test
