#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "App/Published.h"

namespace halcyra {

/// What an error text is about. A cause has one text at most.
enum class ErrorCause {
  telemetry,
  /// Another fan utility is running.
  conflict,
  /// A preset that was chosen cannot start.
  activation,
  /// Starting or driving failed.
  control,
  /// The fans could not be handed back.
  handBack,
  supervisedTest,
  presetLibrary,
  presetFile,
  notification,
  helper,
  loginItem,
  settings,
};

/// The errors that are still true, each until its cause ends. The newest one is shown. Main queue only.
class StandingErrors {
 public:
  explicit StandingErrors(const ChangeSignal& signal) : last_(signal, std::nullopt) {}

  /// Makes `text` the cause's text, and the newest one.
  void set(ErrorCause cause, std::string text) {
    erase(cause);
    standing_.emplace_back(cause, std::move(text));
    publish();
  }

  void clear(ErrorCause cause) {
    erase(cause);
    publish();
  }

  void clearAll() {
    standing_.clear();
    publish();
  }

  /// True when there was one besides that of `kept`.
  bool clearAllBut(ErrorCause kept) {
    const bool found = std::erase_if(standing_, [&](const auto& each) { return each.first != kept; }) > 0;
    publish();
    return found;
  }

  /// Forgets the newest one.
  void dismiss() {
    if (!standing_.empty()) standing_.pop_back();
    publish();
  }

  const std::optional<std::string>& last() const { return *last_; }
  /// Of the newest one.
  std::optional<ErrorCause> lastCause() const {
    return standing_.empty() ? std::nullopt : std::optional(standing_.back().first);
  }

 private:
  void erase(ErrorCause cause) {
    std::erase_if(standing_, [&](const auto& each) { return each.first == cause; });
  }
  void publish() { last_ = standing_.empty() ? std::nullopt : std::optional(standing_.back().second); }

  /// Oldest first.
  std::vector<std::pair<ErrorCause, std::string>> standing_;
  Published<std::optional<std::string>> last_;
};

}  // namespace halcyra
