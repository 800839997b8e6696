#include "Support/CountingActivityAssertions.h"

#include <utility>

namespace halcyra::test {

class CountingActivityAssertions::Assertion : public ActivityAssertion {
 public:
  explicit Assertion(std::shared_ptr<State> state) : state_(std::move(state)) {}
  ~Assertion() override {
    const std::lock_guard lock(state_->mutex);
    --state_->held;
  }
  Assertion(const Assertion&) = delete;
  Assertion& operator=(const Assertion&) = delete;

 private:
  std::shared_ptr<State> state_;
};

std::unique_ptr<ActivityAssertion> CountingActivityAssertions::beginActivity(ActivityOptions options,
                                                                             const std::string& reason) {
  std::function<void()> hook;
  {
    const std::lock_guard lock(state_->mutex);
    ++state_->begun;
    ++state_->held;
    state_->lastReason = reason;
    state_->lastOptions = options;
    hook = state_->hook;
  }
  auto assertion = std::make_unique<Assertion>(state_);
  if (hook) {
    hook();
  }
  return assertion;
}

int CountingActivityAssertions::held() const {
  const std::lock_guard lock(state_->mutex);
  return state_->held;
}

int CountingActivityAssertions::begun() const {
  const std::lock_guard lock(state_->mutex);
  return state_->begun;
}

std::string CountingActivityAssertions::lastReason() const {
  const std::lock_guard lock(state_->mutex);
  return state_->lastReason;
}

ActivityOptions CountingActivityAssertions::lastOptions() const {
  const std::lock_guard lock(state_->mutex);
  return state_->lastOptions;
}

void CountingActivityAssertions::setBeginHook(std::function<void()> hook) {
  const std::lock_guard lock(state_->mutex);
  state_->hook = std::move(hook);
}

}  // namespace halcyra::test
