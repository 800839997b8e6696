#include "Daemon/FanWorkQueue.h"

#include <utility>

namespace halcyra {

FanWorkQueue::FanWorkQueue(std::unique_ptr<Queue> queue) : queue_(std::move(queue)) {}

FanWorkQueue::~FanWorkQueue() {
  epoch_.advance();
  queue_.reset();
}

void FanWorkQueue::async(std::function<void()> work) {
  {
    const std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
  }
  queue_->async([this] { runNext(); });
}

void FanWorkQueue::asyncHandBack(std::function<void()> handBack) {
  epoch_.advance();
  {
    const std::lock_guard lock(mutex_);
    handBacks_.push_back(std::move(handBack));
  }
  queue_->async([this] { runNext(); });
}

void FanWorkQueue::runNext() {
  std::function<void()> next;
  {
    const std::lock_guard lock(mutex_);
    auto& source = handBacks_.empty() ? work_ : handBacks_;
    next = std::move(source.front());
    source.pop_front();
  }
  next();
}

}  // namespace halcyra
