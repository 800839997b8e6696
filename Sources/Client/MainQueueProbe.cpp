#include "Client/MainQueueProbe.h"

#include <mutex>
#include <utility>

namespace halcyra {

struct MainQueueProbe::SignOfLife {
  std::mutex lock;
  Instant last;
  /// At most one question waits in the queue, however long it hangs.
  bool asked = false;
};

MainQueueProbe::MainQueueProbe(Queue& mainQueue, const Clock& clock)
    : mainQueue_(mainQueue), clock_(clock), sign_(std::make_shared<SignOfLife>()) {
  restart();
}

void MainQueueProbe::restart() {
  const std::lock_guard lock(sign_->lock);
  sign_->last = clock_.steadyNow();
}

bool MainQueueProbe::probe() {
  bool asks = false;
  bool alive = false;
  {
    const std::lock_guard lock(sign_->lock);
    asks = !std::exchange(sign_->asked, true);
    alive = clock_.steadyNow() - sign_->last < longestSilence;
  }
  if (asks) {
    mainQueue_.async([sign = sign_, &clock = clock_] {
      const std::lock_guard lock(sign->lock);
      sign->asked = false;
      sign->last = clock.steadyNow();
    });
  }
  return alive;
}

}  // namespace halcyra
