#pragma once

#include <atomic>
#include <compare>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Time.h"

namespace halcyra::test {

/// Unwinds the work of a killed process. Not derived from `std::exception`, so that it passes through the handlers that
/// the program has for its own errors.
struct ProcessKilled {};

/// Virtual time in nanoseconds since the start.
using Ticks = std::int64_t;

Ticks ticksFrom(Seconds duration);
Seconds secondsFrom(Ticks ticks);

/// The order in which things run.
struct DueKey {
  Ticks due = 0;
  std::uint64_t serial = 0;

  auto operator<=>(const DueKey&) const = default;
};

struct VirtualTimerState {
  std::function<void()> fire;
  /// Zero: once only.
  Ticks period = 0;
  /// Where it waits; nothing once it has fired for the last time.
  std::optional<DueKey> armed;
};

/// One piece of work: a closure or a timer's firing.
struct VirtualItem {
  std::function<void()> run;
  std::shared_ptr<VirtualTimerState> timer;
};

/// Whoever can hold the baton: the test's thread or a queue's.
struct Runner {
  std::condition_variable turn;
};

struct VirtualProcessState {
  std::string name;
  bool alive = true;
  bool suspended = false;
  /// Killed, and nothing of it is left.
  bool hasEnded = false;
  std::vector<std::function<void()>> killObservers;
};

/// One queue and its thread. Guarded by the core's mutex.
struct VirtualLane : Runner {
  std::string label;
  std::shared_ptr<VirtualProcessState> process;
  std::map<DueKey, VirtualItem> items;
  /// A piece of work has begun and not ended; it is the lane's own thread that runs it.
  bool isBusy = false;
  /// The work waits for the baton, for `wake` or for whoever sets it.
  bool isBlocked = false;
  std::optional<DueKey> wake;
  /// Takes no more work, and ends with the work under way.
  bool isClosed = false;
  /// The thread is to end.
  bool exits = false;
  /// Gets the baton when the work ends or blocks, before anybody else.
  Runner* returnTo = nullptr;
  /// Waits for the work under way to end.
  VirtualLane* idleWaiter = nullptr;
  std::thread thread;
};

/// The machinery of virtual time. A baton decides which thread runs; everything is handed over under one mutex, each
/// thread waiting on a condition of its own.
class VirtualCore {
 public:
  explicit VirtualCore(Date start) : start_(start) {}

  Date wallNow() const { return start_ + secondsFrom(now_ + wallStep_); }
  Seconds elapsed() const { return secondsFrom(now_); }
  void stepWallClock(Seconds by) { wallStep_ += ticksFrom(by); }

  /// Runs pieces of work on their threads, from the test's thread, until `done` (tested after each) holds or nothing is
  /// due up to `limit`; then the clock reads at least `limit`. Whether `done` holds.
  bool drive(Ticks limit, const std::function<bool()>& done);
  Ticks now() const { return now_; }
  void at(Seconds elapsed, std::function<void()> event);
  /// Blocks the calling work, or runs the scheduler when called from outside; nothing when `process`, whose clock it
  /// is, has been killed.
  void sleep(const VirtualProcessState* process, Seconds duration);

  std::shared_ptr<VirtualLane> makeLane(std::string label, std::shared_ptr<VirtualProcessState> process);
  void closeLane(const std::shared_ptr<VirtualLane>& lane);
  void post(VirtualLane& lane, Seconds delay, std::function<void()> work);
  /// By value: the work may destroy the queue that asks.
  void sync(std::shared_ptr<VirtualLane> lane, const std::function<void()>& work);
  std::shared_ptr<VirtualTimerState> startTimer(VirtualLane& lane, Seconds first, Seconds period,
                                                std::function<void()> fire);
  void cancelTimer(VirtualLane& lane, VirtualTimerState& timer);

  void addProcess(std::shared_ptr<VirtualProcessState> process);
  void kill(const std::shared_ptr<VirtualProcessState>& process);
  void setSuspended(VirtualProcessState& process, bool suspended);
  bool isAlive(const VirtualProcessState& process) const;
  /// Calls `observer` at once when the process has ended already.
  void whenKilled(VirtualProcessState& process, std::function<void()> observer);
  /// Kills every process and ends every thread.
  void shutDown();

 private:
  using Lock = std::unique_lock<std::mutex>;
  class SyncCall;
  struct Choice {
    DueKey key;
    /// Null: the event at the head of `events_`.
    VirtualLane* lane = nullptr;
  };

  DueKey keyAfter(Ticks delay) { return {now_ + delay, nextSerial_++}; }
  std::optional<Choice> nextChoice() const;
  void advanceTo(const DueKey& key);
  void runEvent(Lock& lock);
  void give(Runner& runner);
  void await(Lock& lock, VirtualLane& lane);
  void awaitDriver(Lock& lock);
  void passOn(VirtualLane& from);
  void park(Lock& lock, VirtualLane& lane, std::optional<DueKey> wake);
  void runLane(const std::shared_ptr<VirtualLane>& lane);
  void runFirst(Lock& lock, VirtualLane& lane);
  void unwind(Lock& lock, VirtualLane& lane);
  void unwindAll(Lock& lock, const std::vector<std::shared_ptr<VirtualLane>>& lanes);
  void waitUntilIdle(Lock& lock, VirtualLane& lane);
  void endThread(VirtualLane& lane, std::vector<std::thread>& threads);
  void finishKill(const std::shared_ptr<VirtualProcessState>& process);
  /// Unwinds the calling work when its process has been killed.
  static void leaveIfKilled(const VirtualLane& lane);
  /// The calling thread destroys what a killed process has left: nothing of it waits any more.
  static bool isDiscarding();
  /// The lane whose thread calls; null for the test's.
  VirtualLane* callingLane() const;

  const Date start_;
  std::atomic<Ticks> now_{0};
  std::atomic<Ticks> wallStep_{0};

  mutable std::mutex mutex_;
  Runner driver_;
  Runner* baton_ = &driver_;
  std::uint64_t nextSerial_ = 0;
  /// Of the innermost `drive`.
  Ticks limit_ = 0;
  bool returnsAfterEachPiece_ = false;
  /// Since time last moved.
  std::uint64_t piecesInThisInstant_ = 0;
  std::vector<std::shared_ptr<VirtualProcessState>> processes_;
  std::vector<std::shared_ptr<VirtualLane>> lanes_;
  std::map<DueKey, std::function<void()>> events_;
  /// Threads that ended by their own work.
  std::vector<std::thread> endedThreads_;
};

}  // namespace halcyra::test
