#include "App/MenuBarTitle.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "fmt/format.h"

#include "App/ModelView.h"

namespace halcyra {

namespace {

std::string wholeDegrees(double temperature) {
  return fmt::format("{:.0f}°", std::trunc(temperature));
}

std::string zoneLetter(int fan) {
  if (fan == 0) return "L";
  return fan == 1 ? "R" : fmt::format("F{}", fan);
}

std::string speedText(std::int64_t rpm) {
  return rpm < 1000 ? fmt::format("{}", rpm) : fmt::format("{:.1f}k", static_cast<double>(rpm) / 1000.0);
}

}  // namespace

std::string menuBarTitle(const ModelView& view) {
  std::vector<FanInfo> fans = view.fans;
  std::sort(fans.begin(), fans.end(), [](const FanInfo& a, const FanInfo& b) { return a.index < b.index; });
  std::string title;
  std::string speeds;
  for (const FanInfo& fan : fans) {
    const auto zone = view.fanControlTemperatures.find(fan.index);
    if (zone != view.fanControlTemperatures.end()) {
      title += (title.empty() ? "" : " ") + zoneLetter(fan.index) + wholeDegrees(zone->second);
    }
    speeds += (speeds.empty() ? "" : "·") + speedText(fan.actualRPM);
  }
  if (title.empty()) {
    title = view.displayTemperature ? wholeDegrees(*view.displayTemperature) : "Fan";
  }
  return speeds.empty() ? title : title + " " + speeds;
}

}  // namespace halcyra
