#pragma once

#include <memory>

#include "Platform/Clock.h"
#include "Platform/Dispatch.h"

namespace halcyra {

/// Notices that the main queue has stopped running work. Safe from any thread.
class MainQueueProbe {
 public:
  /// A main queue that has run nothing for this long hangs.
  static constexpr Seconds longestSilence{10.0};

  /// Both outlive whatever the queue still has to run.
  MainQueueProbe(Queue& mainQueue, const Clock& clock);

  /// Counts the queue as alive at this moment.
  void restart();
  /// Asks the queue for a sign of life, and says whether it has given one within `longestSilence`.
  bool probe();

 private:
  struct SignOfLife;

  Queue& mainQueue_;
  const Clock& clock_;
  std::shared_ptr<SignOfLife> sign_;
};

}  // namespace halcyra
