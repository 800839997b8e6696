#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Clock.h"
#include "Platform/Dispatch.h"

namespace halcyra::test {

class VirtualCore;

/// One of the processes that a scheduler runs: queues of its own, and a clock. Blocking code (sleeps, `Queue::sync`)
/// runs on them as it is. Called from the test's own thread, a sleep or `sync` runs the scheduler meanwhile.
class VirtualProcess : public Dispatch {
 public:
  virtual const std::string& name() const = 0;
  virtual Clock& clock() = 0;

  /// Runs `work` on `queue`, one of this process, `delay` from now.
  virtual void asyncAfter(Queue& queue, Seconds delay, std::function<void()> work) = 0;

  /// The process ends as by SIGKILL: nothing of it runs again, work that is blocked in a sleep or wait is unwound by
  /// an exception that is no `std::exception`, its timers and waiting work are dropped. Called by the process's own
  /// work it does not return. Afterwards the test may destroy what the process had: its queues and clock then do
  /// nothing.
  virtual void kill() = 0;
  /// Calls `observer` when the process is killed, after its end, on the thread that killed it.
  virtual void whenKilled(std::function<void()> observer) = 0;
  /// The process stops as by SIGSTOP: nothing of it runs until `resume`; what falls due meanwhile waits.
  virtual void suspend() = 0;
  virtual void resume() = 0;
  virtual bool isAlive() const = 0;
};

/// Runs the queues of any number of processes in virtual time, deterministically: every queue has a thread, but only
/// one runs at a time; a sleep or wait hands over to whatever is due next (by virtual time, then by the order in which
/// it was handed in), and time jumps when nobody can run. Hours pass in milliseconds, the same way in every run.
///
/// Used from one thread, the test's, and from the work that it runs. Its destruction kills every process.
class VirtualScheduler {
 public:
  /// `start` is the wall clock's first reading; steady time starts at zero.
  explicit VirtualScheduler(Date start = Date{Seconds{1.7e9}});
  ~VirtualScheduler();
  VirtualScheduler(const VirtualScheduler&) = delete;
  VirtualScheduler& operator=(const VirtualScheduler&) = delete;

  std::shared_ptr<VirtualProcess> makeProcess(const std::string& name);

  /// The clock as seen from outside the processes. `sleep` on it, from the test's own thread, is `runFor`.
  Clock& clock();
  /// Seconds since the start.
  Seconds elapsed() const;

  /// Runs everything that falls due within `duration`, and moves the clock to its end.
  void runFor(Seconds duration);
  /// Runs until `done` holds (tested on the test's own thread, after every piece of work); false when `limit` passed
  /// first.
  bool runUntil(const std::function<bool()>& done, Seconds limit);
  /// Runs what is due now, without moving the clock.
  void runPending();

  /// Calls `event` on the test's own thread when virtual time has come to `elapsed` (not before now).
  void at(Seconds elapsed, std::function<void()> event);

  /// Sets the wall clock forward or back; steady time goes on.
  void stepWallClock(Seconds by);

 private:
  std::shared_ptr<VirtualCore> core_;
  std::unique_ptr<Clock> clock_;
  /// Kept, so that a process that the test has let go runs on.
  std::vector<std::shared_ptr<VirtualProcess>> processes_;
};

}  // namespace halcyra::test
