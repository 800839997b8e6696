#pragma once

#include <optional>
#include <string>

#include "App/ModelView.h"
#include "App/Published.h"

namespace halcyra {

/// What the windows remember together beyond the model: which error the user has put away, and how the supervised test
/// went that was run last. Main thread only.
class Notices {
 public:
  /// How far the supervised test is.
  enum class Test { notRun, running, passed, failed };

  /// Takes note of the model's present state: at every change, and before each refresh of a view; once more does no
  /// harm.
  void follow(const ModelView& view);

  /// What is to be shown: the model's visible error, unless the user has put it away. An error that comes again after
  /// it had gone is shown again, and so is one that the user's next command brings.
  const std::optional<std::string>& error() const { return error_; }
  void dismissError();

  Test test() const { return test_; }
  /// The user has seen that the test passed.
  void acknowledgeTest();

  [[nodiscard]] ChangeSignal::Subscription observe(std::function<void()> willChange) {
    return willChange_.observe(std::move(willChange));
  }

 private:
  void followTest(const ModelView& view);

  ChangeSignal willChange_;
  std::optional<std::string> error_;
  std::optional<std::string> dismissed_;
  bool wasBusy_ = false;
  Test test_ = Test::notRun;
};

}  // namespace halcyra
