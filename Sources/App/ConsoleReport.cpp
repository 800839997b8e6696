#include "App/ConsoleReport.h"

#include <string_view>

#include "fmt/format.h"
#include "nlohmann/json.hpp"

#include "App/AppModel.h"
#include "Platform/UntrustedText.h"

namespace halcyra {

namespace {

std::string degrees(std::optional<double> temperature) {
  return temperature ? fmt::format("{:.1f} °C", *temperature) : std::string("–");
}

std::string_view modeName(FanMode mode) {
  return mode == FanMode::manual ? "manual" : "automatic";
}

nlohmann::ordered_json orNull(std::optional<double> value) {
  return value ? nlohmann::ordered_json(*value) : nullptr;
}

}  // namespace

ConsoleReport ConsoleReport::of(const AppModel& model, Date time) {
  ConsoleReport report;
  report.time = time;
  report.display = model.displayTemperature();
  report.control = model.controlTemperature();
  const auto& drivers = model.fanControlDrivers();
  for (const auto& [fan, temperature] : model.fanControlTemperatures()) {
    const auto driver = drivers.find(fan);
    report.zones.push_back({fan, temperature, driver == drivers.end() ? std::string() : driver->second});
  }
  report.fans = model.fans();
  report.preset = model.activePreset().name;
  report.helper = rawValue(model.helperState());
  report.session = model.hasHelperSession();
  report.busy = model.isBusy();
  report.critical = model.criticalThermalOverrideActive();
  report.error = model.lastError();
  return report;
}

std::string ConsoleReport::line() const {
  std::string text = fmt::format("{}  die {}", iso8601String(time), degrees(display));
  for (const Zone& zone : zones) {
    text += fmt::format("  zone {} {} ({})", zone.fan, degrees(zone.temperature), zone.driver);
  }
  for (const FanInfo& fan : fans) {
    text += fmt::format("  fan {} {} RPM", fan.index, fan.actualRPM);
    text += fan.targetRPM && fan.mode == FanMode::manual ? fmt::format(" → {} manual", *fan.targetRPM)
                                                         : fmt::format(" {}", modeName(fan.mode));
  }
  text += fmt::format("  {}{}{}", preset, busy ? ", working" : "", critical ? ", CRITICAL" : "");
  if (error) {
    text += fmt::format("  ! {}", *error);
  }
  return onOneLine(text);
}

std::string ConsoleReport::json() const {
  nlohmann::ordered_json zoneList = nlohmann::ordered_json::array();
  for (const Zone& zone : zones) {
    zoneList.push_back({{"fan", zone.fan}, {"temperature", zone.temperature}, {"driver", zone.driver}});
  }
  nlohmann::ordered_json fanList = nlohmann::ordered_json::array();
  for (const FanInfo& fan : fans) {
    fanList.push_back({{"index", fan.index},
                       {"actual", fan.actualRPM},
                       {"minimum", fan.minRPM},
                       {"maximum", fan.maxRPM},
                       {"mode", modeName(fan.mode)},
                       {"target", fan.targetRPM ? nlohmann::ordered_json(*fan.targetRPM) : nullptr}});
  }
  const nlohmann::ordered_json object = {
      {"time", iso8601String(time)},
      {"display", orNull(display)},
      {"control", orNull(control)},
      {"zones", std::move(zoneList)},
      {"fans", std::move(fanList)},
      {"preset", preset},
      {"helper", helper},
      {"session", session},
      {"busy", busy},
      {"critical", critical},
      {"error", error ? nlohmann::ordered_json(*error) : nullptr},
  };
  return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string ConsoleReport::table() const {
  std::string text =
      fmt::format("Aerovane   {}   {}{}\n\n", iso8601String(time), onOneLine(preset), busy ? " (working)" : "");
  text += fmt::format("  Hottest die {:>10}      Control {:>10}{}\n\n", degrees(display), degrees(control),
                      critical ? "      CRITICAL: fans at maximum" : "");
  text += fmt::format("  {:<5}{:>10}  {:<22}{:>9}{:>9}  {:<10}{:>14}\n", "Fan", "Zone", "Driven by", "RPM", "Target",
                      "Mode", "Limits");
  for (const FanInfo& fan : fans) {
    const Zone* own = nullptr;
    for (const Zone& zone : zones) {
      if (zone.fan == fan.index) own = &zone;
    }
    text +=
        fmt::format("  {:<5}{:>10}  {:<22}{:>9}{:>9}  {:<10}{:>14}\n", fan.index, own ? degrees(own->temperature) : "–",
                    own ? own->driver : "", fan.actualRPM, fan.targetRPM ? fmt::to_string(*fan.targetRPM) : "–",
                    modeName(fan.mode), fmt::format("{}–{}", fan.minRPM, fan.maxRPM));
  }
  text += fmt::format("\n  Helper: {}   Session: {}\n", helper, session ? "held" : "none");
  if (error) {
    text += fmt::format("\n  {}\n", onOneLine(*error));
  }
  return text;
}

}  // namespace halcyra
