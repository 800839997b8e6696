#pragma once

namespace halcyra {

/// Folds requests that come while a run is under way into one follow-up run. Main thread only.
class CoalescedRefreshState {
 public:
  /// True when the caller should start a run now.
  bool request();
  /// To be called when a run ends, only then; true when the caller should run again at once.
  bool complete();

  bool isRunning() const { return isRunning_; }
  bool needsRefresh() const { return needsRefresh_; }

 private:
  bool isRunning_ = false;
  bool needsRefresh_ = false;
};

}  // namespace halcyra
