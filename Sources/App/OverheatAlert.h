#pragma once

#include <functional>
#include <optional>
#include <string>

#include "App/Published.h"
#include "App/Replies.h"
#include "App/StandingErrors.h"
#include "Platform/Platform.h"

namespace halcyra {

/// Tells the user of a machine that is too hot, at most once in five minutes. Main queue only.
class OverheatAlert {
 public:
  static constexpr Seconds cooldown{300.0};
  /// °C.
  static constexpr double minimumThreshold = 40.0;
  static constexpr double maximumThreshold = 100.0;
  static constexpr double defaultThreshold = 85.0;

  /// Loads the settings. What is handed in outlives it.
  OverheatAlert(Platform& platform, const ChangeSignal& signal, const Replies& replies, StandingErrors& errors,
                Logger logger);

  bool isEnabled() const { return *enabled_; }
  double threshold() const { return *threshold_; }
  /// Both are stored. Enabling asks for the permission to notify.
  void setEnabled(bool enabled);
  /// °C, limited to 40…100; ignored when it is not a number.
  void setThreshold(double temperature);

  /// To be called with the displayed temperature of each poll, °C.
  void check(double temperature);
  void sendTestNotification();

 private:
  void deliver(const std::string& title, const std::string& body);
  void queue(const std::string& title, const std::string& body);

  Platform& platform_;
  const Replies& replies_;
  StandingErrors& errors_;
  Logger logger_;
  Published<bool> enabled_;
  Published<double> threshold_;
  std::optional<Instant> lastAlert_;
};

}  // namespace halcyra
