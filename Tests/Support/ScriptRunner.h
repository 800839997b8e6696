#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Support/ClosedLoop.h"
#include "Support/FaultScript.h"
#include "Support/InvariantObserver.h"

namespace halcyra::test {

/// Runs one script over the closed loop, under the observer's eyes.
///
/// The commands; SECONDS is how long it lasts:
///   preset NAME                     the user selects one (apple-default, smart-auto, full-blast, cooling,
///                                   battery-saver, steady, mine); one that is not in the list cannot be selected
///   edit NAME RPM, delete NAME      of the user's own presets, steady and mine
///   emergency-reset                 the settings' button
///   supervised-test                 the same
///   other-owner SECONDS             another application owns the fans
///   interval SECONDS                the polling interval
///   uninstall SECONDS               the helper is removed, and installed again after that time
///   fault SECONDS COMMAND           a fault of the machine
///   blind SECONDS nan|vanish|…      that fault at every die sensor
///   spike CELSIUS SECONDS           every die is that hot
///   other-party FAN MODE [RPM]      another program sets the fan's mode
///   clear [KIND]                    takes back every fault of that kind
///   dies CELSIUS                    every die reads that
///   workload NAME
///   competitor SECONDS              another fan utility runs
///   message WHICH lose-request | lose-reply | late SECONDS | twice | fail CODE | refuse CODE [TEXT]
///                                   the next message of that kind (begin, heartbeat, mode, target, reset, end,
///                                   prepare); CODE is Cocoa's or the helper's
///   messages WHICH …                all of them from now on; `messages WHICH pass` ends it
///   invalidate                      the connections to the helper
///   lose-bus SECONDS
///   kill-helper; stop-helper SECONDS
///   kill-application SECONDS, quit-application SECONDS      started again after that time
///   stop-application SECONDS, hang-application SECONDS
///   second-application SECONDS NAME                         with that preset selected
///   sleep SECONDS; clock SECONDS                            the wall clock is set forward or back
/// What makes no sense at the moment (a wake while awake, a click while the machine sleeps) does nothing.
class ScriptRunner {
 public:
  /// What is wrong with the program on purpose, put into the loop's seams before anything starts.
  using Defect = std::function<void(ClosedLoop&)>;

  /// The violations of the script, none when all is well. Throws `std::invalid_argument` for an unknown command.
  static std::vector<Violation> run(const FaultScript& script, const Defect& defect = {});

 protected:
  using Words = std::vector<std::string>;
  /// What an application's settings leave to its next run.
  struct Settings {
    std::optional<std::string> presets;
    std::optional<std::string> selection;
    std::optional<std::string> ownership;
  };

  ScriptRunner(const std::string& workload, std::uint64_t seed, const Defect& defect);
  std::vector<Violation> play(const FaultScript& script);
  void step();
  /// Lets time go on to `time`, at most 100 ms, and looks.
  void advanceTo(double time);
  void perform(const std::string& command);
  bool performUser(const Words& words);
  bool performMachine(const Words& words, const std::string& command);
  bool performProcess(const Words& words);
  bool performSystem(const Words& words);
  void layMessageFault(const Words& words);
  void atEveryDie(const std::function<void(const std::string& key)>& work);
  void prepare(TestPlatform& platform);

  /// Has the user's command carried out on the application's main queue, and notes what is selected then.
  void asUser(std::function<void(AppModel&)> command);
  void applyFault(const std::string& command, double seconds);
  void blindDies(const std::string& fault, const std::string& argument, double seconds);
  void holdApplication(double seconds, bool hangs);
  void startApplication();
  void endApplication(std::int32_t processID);
  void quitApplication(double seconds);
  void startSecond(double seconds, const std::string& preset);
  void endSecond();
  void sleep(double seconds);
  void wake();
  void makeWhole();

  /// Calls `event` in the first step that begins `seconds` from now, or when everything is made whole.
  void later(double seconds, std::function<void()> event);
  void holdProcesses();
  void updateCircumstances();
  void noteObstacles();
  bool isAwake() const { return !isGoingToSleep_ && !circumstances_.isAsleep; }
  std::vector<ClosedLoop::Application*> applications();

  /// How many messages of this kind have been sent.
  std::size_t sent(const std::string& kind) const;

  /// Before the loop: its taps are used until the loop's end.
  InvariantObserver observer_;
  ClosedLoop loop_;
  std::unique_ptr<ClosedLoop::Application> second_;
  Circumstances circumstances_;
  std::multimap<double, std::function<void()>> later_;
  Settings settings_;
  std::shared_ptr<bool> hasQuit_;
  bool isGoingToSleep_ = false;
  double sleepsAt_ = 0;
  int competitors_ = 0;
  int otherOwners_ = 0;
  double stoppedUntil_ = 0;
  double hungUntil_ = 0;
  double helperStoppedUntil_ = 0;
  double interval_ = AppModel::defaultPollingInterval;
  double now_ = 0;
  /// Nothing is made whole at the end of a scenario.
  bool endsWhole_ = true;
};

}  // namespace halcyra::test
