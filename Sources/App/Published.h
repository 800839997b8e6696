#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace halcyra {

/// Tells its observers that something is about to change. One thread only.
class ChangeSignal {
  struct Observer {
    std::uint64_t id = 0;
    std::function<void()> callback;
  };
  struct State {
    std::vector<std::shared_ptr<Observer>> observers;
    std::uint64_t nextID = 1;
  };

 public:
  using Callback = std::function<void()>;

  /// Ends the observation when it is destroyed. May outlive the signal.
  class Subscription {
   public:
    Subscription() = default;
    Subscription(Subscription&& other) noexcept { swap(other); }
    Subscription& operator=(Subscription&& other) noexcept {
      Subscription(std::move(other)).swap(*this);
      return *this;
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() {
      if (const auto state = state_.lock()) {
        std::erase_if(state->observers, [&](const auto& observer) { return observer->id == id_; });
      }
    }

   private:
    friend class ChangeSignal;
    Subscription(std::weak_ptr<State> state, std::uint64_t id) : state_(std::move(state)), id_(id) {}
    void swap(Subscription& other) noexcept {
      std::swap(state_, other.state_);
      std::swap(id_, other.id_);
    }

    std::weak_ptr<State> state_;
    std::uint64_t id_ = 0;
  };

  /// `callback` is called before each change, on the thread of the change, until the subscription ends.
  [[nodiscard]] Subscription observe(Callback callback) {
    const std::uint64_t id = state_->nextID++;
    state_->observers.push_back(std::make_shared<Observer>(Observer{id, std::move(callback)}));
    return Subscription(state_, id);
  }

  void announce() const {
    // Observers may come and go from within a callback.
    for (std::size_t index = 0; index < state_->observers.size();) {
      const std::shared_ptr<Observer> observer = state_->observers[index];
      observer->callback();
      if (index < state_->observers.size() && state_->observers[index] == observer) {
        ++index;
      }
    }
  }

 private:
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// A value whose every change is announced before it is stored; assigning an equal value is no change.
template <typename T>
class Published {
 public:
  Published(const ChangeSignal& signal, T initial) : signal_(&signal), value_(std::move(initial)) {}
  Published(const Published&) = delete;
  Published& operator=(const Published&) = delete;

  const T& operator*() const { return value_; }
  const T* operator->() const { return &value_; }

  Published& operator=(T value) {
    if (!(value_ == value)) {
      signal_->announce();
      value_ = std::move(value);
    }
    return *this;
  }

  /// Changes the value in place.
  template <typename Change>
  void mutate(Change&& change) {
    signal_->announce();
    std::forward<Change>(change)(value_);
  }

 private:
  const ChangeSignal* signal_;
  T value_;
};

}  // namespace halcyra
