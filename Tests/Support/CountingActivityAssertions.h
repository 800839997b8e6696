#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "Platform/SystemInformation.h"

namespace halcyra::test {

/// Counts the activities held. Any thread; assertions may outlive this.
class CountingActivityAssertions : public ActivityAssertions {
 public:
  std::unique_ptr<ActivityAssertion> beginActivity(ActivityOptions options, const std::string& reason) override;

  int held() const;
  /// Ever begun.
  int begun() const;
  std::string lastReason() const;
  ActivityOptions lastOptions() const;
  /// Called within `beginActivity`, before the assertion is handed out.
  void setBeginHook(std::function<void()> hook);

 private:
  struct State {
    std::mutex mutex;
    int held = 0;
    int begun = 0;
    std::string lastReason;
    ActivityOptions lastOptions{};
    std::function<void()> hook;
  };
  class Assertion;

  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace halcyra::test
