#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Time.h"
#include "SMC/FanInfo.h"

namespace halcyra {

class AppModel;

/// What the console shows of the model at one moment. Temperatures are °C.
struct ConsoleReport {
  struct Zone {
    int fan = 0;
    double temperature = 0;
    std::string driver;
  };

  Date time;
  std::optional<double> display;
  std::optional<double> control;
  std::vector<Zone> zones;
  std::vector<FanInfo> fans;
  std::string preset;
  /// The helper's installation state, as shown to the user.
  std::string helper;
  /// Whether a fan-control session is held.
  bool session = false;
  bool busy = false;
  bool critical = false;
  std::optional<std::string> error;

  static ConsoleReport of(const AppModel& model, Date time);

  /// One line for people: no line feed.
  std::string line() const;
  /// One JSON object: no line feed.
  std::string json() const;
  /// Several lines for a terminal, each with its line feed.
  std::string table() const;
};

}  // namespace halcyra
