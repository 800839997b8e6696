#pragma once

#include <memory>
#include <tuple>
#include <utility>

#include "Platform/Dispatch.h"

namespace halcyra {

/// Brings answers from any thread to the main queue, for as long as their owner lives. Every part of the model uses the
/// model's; made and used on the main queue.
class Replies {
 public:
  explicit Replies(Queue& mainQueue) : queue_(&mainQueue) {}

  /// To be called once, before anything else: nothing runs before, and nothing after `owner` is gone.
  void bind(std::weak_ptr<const void> owner) { owner_ = std::move(owner); }

  /// A callback for any thread that runs `handler` on the main queue, later, while the owner lives.
  template <typename Handler>
  auto onMain(Handler handler) const {
    return [owner = owner_, queue = queue_, handler = std::move(handler)](auto... arguments) {
      queue->async([owner, handler, arguments = std::make_tuple(std::move(arguments)...)]() mutable {
        if (const auto alive = owner.lock()) {
          std::apply([&](auto&... each) { handler(std::move(each)...); }, arguments);
        }
      });
    };
  }

  /// A callback of the main queue itself (a timer, a handler) that does nothing once the owner is gone.
  template <typename Handler>
  auto whileAlive(Handler handler) const {
    return [owner = owner_, handler = std::move(handler)](auto&&... arguments) {
      if (const auto alive = owner.lock()) {
        handler(std::forward<decltype(arguments)>(arguments)...);
      }
    };
  }

  Queue& mainQueue() const { return *queue_; }

 private:
  Queue* queue_;
  std::weak_ptr<const void> owner_;
};

}  // namespace halcyra
