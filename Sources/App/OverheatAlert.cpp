#include "App/OverheatAlert.h"

#include <cmath>
#include <utility>

#include "fmt/format.h"

#include "App/StoredNumber.h"
#include "Platform/UUID.h"

namespace halcyra {

namespace {

constexpr const char* notificationsOffMessage =
    "Notifications are off for Aerovane; enable them in System Settings → Notifications.";

}  // namespace

OverheatAlert::OverheatAlert(Platform& platform, const ChangeSignal& signal, const Replies& replies,
                             StandingErrors& errors, Logger logger)
    : platform_(platform),
      replies_(replies),
      errors_(errors),
      logger_(std::move(logger)),
      enabled_(signal, platform.userDefaults.boolean("overheatAlertsEnabled").value_or(false)),
      threshold_(signal, storedNumber(platform.userDefaults, "overheatThreshold", defaultThreshold, minimumThreshold,
                                      maximumThreshold)) {}

void OverheatAlert::setEnabled(bool enabled) {
  enabled_ = enabled;
  platform_.userDefaults.setBoolean("overheatAlertsEnabled", enabled);
  if (!enabled) {
    errors_.clear(ErrorCause::notification);
    return;
  }
  platform_.notifications.requestAuthorization(replies_.onMain([this](bool granted, const std::optional<Error>&) {
    if (!granted) {
      errors_.set(ErrorCause::notification, notificationsOffMessage);
    } else {
      errors_.clear(ErrorCause::notification);
    }
  }));
}

void OverheatAlert::setThreshold(double temperature) {
  if (std::isfinite(temperature)) {
    threshold_ = std::clamp(temperature, minimumThreshold, maximumThreshold);
    platform_.userDefaults.setNumber("overheatThreshold", *threshold_);
  }
}

void OverheatAlert::check(double temperature) {
  if (!*enabled_ || !(temperature >= *threshold_)) {
    return;
  }
  const Instant now = platform_.clock.steadyNow();
  if (lastAlert_ && now - *lastAlert_ < cooldown) {
    return;
  }
  lastAlert_ = now;
  logger_.log(fmt::format("overheat threshold crossed at {:f}°C; requesting notification", temperature));
  deliver("High CPU Temperature",
          fmt::format("CPU/GPU thermal signal reached {:.1f} °C (threshold {:.0f} °C).", temperature, *threshold_));
}

void OverheatAlert::sendTestNotification() {
  logger_.log("test notification requested");
  platform_.workspace.activateApplication();
  deliver("Aerovane", "Test notification — overheat alerts use this channel.");
}

void OverheatAlert::deliver(const std::string& title, const std::string& body) {
  platform_.notifications.requestAuthorization(
      replies_.onMain([this, title, body](bool granted, const std::optional<Error>& error) {
        if (error) {
          logger_.log(fmt::format("notification authorization error: {}", error->localizedDescription()));
          errors_.set(ErrorCause::notification, "Notification error: " + error->localizedDescription());
        } else if (!granted) {
          logger_.log("notification authorization denied");
          errors_.set(ErrorCause::notification, notificationsOffMessage);
        } else {
          errors_.clear(ErrorCause::notification);
          queue(title, body);
        }
      }));
}

void OverheatAlert::queue(const std::string& title, const std::string& body) {
  platform_.notifications.add(
      {UUID::random().string(), title, body}, [logger = logger_](const std::optional<Error>& error) {
        if (error) {
          logger.log(fmt::format("notification delivery failed: {}", error->localizedDescription()));
        }
      });
  logger_.log(fmt::format("notification queued: {}", title));
}

}  // namespace halcyra
