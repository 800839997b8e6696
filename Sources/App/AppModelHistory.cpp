#include <algorithm>
#include <cmath>
#include <limits>

#include "fmt/format.h"

#include "App/AppModel.h"
#include "App/AppModelReplies.h"
#include "Helpers/HistoryRetention.h"

namespace halcyra {

namespace {

constexpr const char* notificationsOffMessage =
    "Notifications are off for Aerovane; enable them in System Settings → Notifications.";

/// The most that a series ever holds: room made once, so that no later poll has to move it.
constexpr auto seriesCapacity = static_cast<std::size_t>(AppModel::historySampleLimit + 1);

}  // namespace

void AppModel::recordHistory(const CPUCoreAverage& average, const std::vector<SensorReading>& readings) {
  if (fans_->empty()) {
    return;
  }
  HistorySample sample{.date = now(),
                       .cpuTemp = displayTemperature_->value_or(average.thermalDisplayTemperature()),
                       .cpuCoreAverage = average.temperature,
                       .gpuCoreAverage = average.gpuAverageTemperature,
                       .controlTemp = controlTemperature_->value_or(average.controlTemperature()),
                       .rpms = {}};
  std::vector<FanInfo> fans = *fans_;
  std::sort(fans.begin(), fans.end(), [](const FanInfo& a, const FanInfo& b) { return a.index < b.index; });
  for (const FanInfo& fan : fans) {
    sample.rpms.push_back(fan.actualRPM);
  }
  const std::size_t position = history_->size();
  history_.mutate([&](std::vector<HistorySample>& history) {
    if (history.empty()) {
      history.reserve(seriesCapacity);
    }
    history.push_back(sample);
    recordSensors(readings, position);
    HistoryRetention::trim(history, sensorHistory_, historySampleLimit, historyTrimBatchSize);
  });
}

void AppModel::recordSensors(const std::vector<SensorReading>& readings, std::size_t position) {
  constexpr float noValue = std::numeric_limits<float>::quiet_NaN();
  for (auto& [key, series] : sensorHistory_) {
    series.push_back(noValue);
  }
  seriesOfReading_.resize(readings.size(), nullptr);
  for (std::size_t index = 0; index < readings.size(); ++index) {
    const SensorReading& reading = readings[index];
    auto*& slot = seriesOfReading_[index];
    if (slot == nullptr || slot->first != reading.keyName) {
      slot = &*sensorHistory_.try_emplace(reading.keyName).first;
    }
    std::vector<float>& series = slot->second;
    if (series.size() <= position) {
      series.reserve(seriesCapacity);
      series.resize(position + 1, noValue);
    }
    series[position] = static_cast<float>(reading.value);
  }
}

void AppModel::checkOverheat(double temperature) {
  if (!*overheatAlertsEnabled_ || !(temperature >= *overheatThreshold_)) {
    return;
  }
  const Instant instant = platform_.clock.steadyNow();
  if (lastOverheatAlert_ && instant - *lastOverheatAlert_ < overheatCooldown) {
    return;
  }
  lastOverheatAlert_ = instant;
  logger_.log(fmt::format("overheat threshold crossed at {:f}°C; requesting notification", temperature));
  deliverNotification(
      "High CPU Temperature",
      fmt::format("CPU/GPU thermal signal reached {:.1f} °C (threshold {:.0f} °C).", temperature, *overheatThreshold_));
}

void AppModel::deliverNotification(const std::string& title, const std::string& body) {
  platform_.notifications.requestAuthorization(
      onMain([title, body](AppModel& self, bool granted, const std::optional<Error>& error) {
        if (error) {
          self.logger_.log(fmt::format("notification authorization error: {}", error->localizedDescription()));
          self.lastError_ = "Notification error: " + error->localizedDescription();
        } else if (!granted) {
          self.logger_.log("notification authorization denied");
          self.lastError_ = notificationsOffMessage;
        } else {
          self.queueNotification(title, body);
        }
      }));
}

void AppModel::queueNotification(const std::string& title, const std::string& body) {
  platform_.notifications.add(
      {UUID::random().string(), title, body}, [logger = logger_](const std::optional<Error>& error) {
        if (error) {
          logger.log(fmt::format("notification delivery failed: {}", error->localizedDescription()));
        }
      });
  logger_.log(fmt::format("notification queued: {}", title));
}

void AppModel::setOverheatAlertsEnabled(bool enabled) {
  overheatAlertsEnabled_ = enabled;
  platform_.userDefaults.setBoolean("overheatAlertsEnabled", enabled);
  if (!enabled) {
    return;
  }
  platform_.notifications.requestAuthorization(onMain([](AppModel& self, bool granted, const std::optional<Error>&) {
    if (!granted) {
      self.lastError_ = notificationsOffMessage;
    }
  }));
}

void AppModel::setOverheatThreshold(double temperature) {
  if (std::isfinite(temperature)) {
    overheatThreshold_ = std::clamp(temperature, minimumOverheatThreshold, maximumOverheatThreshold);
    platform_.userDefaults.setNumber("overheatThreshold", *overheatThreshold_);
  }
}

void AppModel::sendTestNotification() {
  logger_.log("test notification requested");
  platform_.workspace.activateApplication();
  deliverNotification("Aerovane", "Test notification — overheat alerts use this channel.");
}

}  // namespace halcyra
