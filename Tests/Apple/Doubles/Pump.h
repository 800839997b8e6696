#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "Platform/Dispatch.h"

namespace halcyra::test {

/// The one list of work of all the doubles: nothing happens but when the test runs it.
struct Pump {
  static std::deque<std::function<void()>>& work();
  /// Runs work until there is none.
  static void run();
};

/// What a real interface answers to misuse: ends the test's program.
void require(bool condition, const char* rule);

/// A queue whose work the pump runs.
class PumpedQueue : public Queue {
 public:
  const std::string& label() const override { return label_; }
  void async(std::function<void()> work) override { Pump::work().push_back(std::move(work)); }
  void sync(const std::function<void()>& work) override { work(); }
  std::unique_ptr<Timer> startTimer(Seconds, Seconds, Seconds, std::function<void()>) override { return nullptr; }

 private:
  std::string label_ = "pumped";
};

/// What the doubles of XPC let a test do to the system around a link.
namespace XPCSystem {

inline constexpr unsigned userID = 501;
inline constexpr int processID = 4242;

/// The helper's process has been killed: what it does from now on reaches nobody.
void killHelper();
/// The service is removed from the system: both ends learn of it.
void removeService();
/// Whether the next signature that is checked fulfils its requirement.
void setSignatureFits(bool fits);
/// Objects that nobody has released.
std::size_t liveObjects();

}  // namespace XPCSystem

}  // namespace halcyra::test
