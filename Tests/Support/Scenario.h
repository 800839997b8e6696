#pragma once

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "gtest/gtest.h"

#include "Support/ScriptRunner.h"

namespace halcyra::test {

/// One named fault: what happens, and how it has to end. `%` in the text stands for each of `moments` in turn.
struct ScenarioRow {
  std::string name;
  std::string text;
};

void PrintTo(const ScenarioRow& row, std::ostream* out);
std::string nameOfScenario(const testing::TestParamInfo<ScenarioRow>& info);

/// A script whose events come one after another instead of at times, with what has to hold in between. The application
/// runs from the start, with nothing selected; the observer looks every 100 ms and allows a fan 2 s without a session.
///
/// Statements are separated by ";". Besides the commands of `ScriptRunner`:
///   on WORKLOAD                     first of all; otherwise the machine is idle
///   before COMMAND                  before the application starts, which is otherwise 6 s before the first statement
///   wait SECONDS                    also 0: what has been asked for happens
///   sent WHICH [SECONDS]            until one more message of that kind has been sent, and so long afterwards
///   written                         until the firmware has accepted one more write
///   until SECONDS: CONDITION        at every look, for so long at most
///   at SECONDS: CONDITION           the same to the piece of work
///   during SECONDS: CONDITION       it holds at every look
///   now: CONDITION, CONDITION …     they hold
///   mark                            what "since" means below; the start before the first one
///   allow SECONDS                   that a fan may be manual without a session
///   quit                            the application's model is asked to end; its process runs on
///   doze, wake                      sleep is announced and the processes run on
///   second-preset NAME              selected in the second application
///   helper-status N                 what the system says of the helper's registration
/// After "before" only: select NAME (remembered), model TEXT, store KEY VALUE (a setting; a number or a text).
/// Conditions, each of which "not" turns round and "second" asks of the second application:
///   automatic, manual, modes M M    the machine's own truth
///   driven                          the selected preset drives both fans, at its speeds where it has fixed ones
///   undriven, sessions N [MOST]     no fan commanded, so many sessions begun since
///   released, untouched             automatic and undriven; driven in the same session and never handed back since
///   target FAN LEAST [MOST], targets FAN RPM…, last FAN RPM      now; all of those since; rising to that one, once
///   gentle FAN                      several targets since, none more than 500 RPM below the one before
///   begins LEAST [MOST]             sessions asked for since the start
///   carried MESSAGE / MESSAGE …     what the helper has received since, without heartbeats; "*" for any others
///   beats LEAST [MOST], useless N, samples LEAST MOST, late   heartbeats, answers to ended calls, polls since
///   sample, temperature, override   there has been a poll since; a temperature is shown; the override is active
///   error [TEXT], visible, conflict, competing NAME      what is shown
///   busy, session, helper, selected NAME, state TEXT, unregistered N, passed, quits N, asleep N, logged N TEXT
class Scenario : public ScriptRunner {
 public:
  /// What went wrong, empty for nothing. Throws `std::invalid_argument` for what it does not understand.
  static std::string run(const std::string& text);
  /// Fails the test with what went wrong.
  static void check(const std::string& text);

 private:
  struct Mark {
    std::size_t writes = 0;
    std::size_t carried = 0;
    std::size_t sessions = 0;
    std::size_t heartbeats = 0;
    std::size_t samples = 0;
    std::optional<Date> sampled;
  };

  explicit Scenario(const std::string& workload);
  std::string play(const std::vector<std::string>& statements);
  void statement(const std::string& text);
  bool command(const Words& words);
  bool timed(const std::string& text);
  void start();
  void look(double seconds);
  void expect(bool holds, const std::string& what);
  bool holds(const std::string& condition);
  bool holdsAll(const std::string& conditions);
  std::optional<bool> machineHolds(const Words& words);
  std::optional<bool> recordHolds(const Words& words, const std::string& condition);
  std::optional<bool> modelHolds(const Words& words, const std::string& rest);
  bool isDriven();
  bool carriedIs(const std::string& wanted) const;
  std::vector<double> targetsSince(const std::string& fan) const;
  bool wroteSince(bool handBacks) const;
  Mark mark();
  std::string state();
  ClosedLoop::Application& asked() { return asksSecond_ ? *second_ : *loop_.application; }

  Mark mark_;
  std::string failure_;
  std::vector<std::string> before_;
  bool asksSecond_ = false;
  int quits_ = 0;
  bool wasAutomaticAtEnd_ = true;
};

}  // namespace halcyra::test
