#include "UI/SensorsNames.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>
#include <utility>

#include "fmt/format.h"

#include "Helpers/SensorReader.h"

namespace halcyra {

namespace {

/// By the key's first two characters.
struct SensorFamily {
  std::string_view prefix;
  std::string_view name;
};

constexpr std::array<SensorFamily, 16> sensorFamilies{{{"TA", "Ambient air"},
                                                       {"TB", "Battery"},
                                                       {"TC", "CPU"},
                                                       {"TG", "GPU package"},
                                                       {"TH", "SSD"},
                                                       {"TM", "Memory package"},
                                                       {"TP", "Power supply"},
                                                       {"TS", "Enclosure"},
                                                       {"TV", "Voltage regulator"},
                                                       {"TW", "Wireless"},
                                                       {"Ta", "Airflow"},
                                                       {"Te", "E-core sensor"},
                                                       {"Tg", "GPU sensor"},
                                                       {"Tm", "Memory"},
                                                       {"Tp", "P-core sensor"},
                                                       {"Ts", "Palm rest"}}};

/// The channels whose meaning is verified.
std::map<std::string, std::string> makeVerifiedNames() {
  std::map<std::string, std::string> names;
  const auto add = [&names](std::span<const SMCKey> keys, const char* name, std::size_t first) {
    for (std::size_t each = 0; each < keys.size(); ++each) {
      names[stringFromKey(keys[each])] = fmt::format("{} {}", name, first + each);
    }
  };
  add(SensorReader::m3EfficiencyCoreKeys, "Efficiency core", 1);
  add(SensorReader::m3PerformanceBankAKeys, "Performance core", 1);
  add(SensorReader::m3PerformanceBankBKeys, "Performance core", 1 + SensorReader::m3PerformanceBankAKeys.size());
  add(SensorReader::m3GPUClusterKeys, "GPU", 1);
  add(SensorReader::m3LeftChassisKeys, "Left chassis", 1);
  add(SensorReader::m3RightChassisKeys, "Right chassis", 1);
  names[stringFromKey(SensorReader::cpuHotspotKey)] = "CPU die hotspot";
  names[stringFromKey(SensorReader::gpuHotspotKey)] = "GPU die hotspot";
  return names;
}

}  // namespace

std::map<std::string, std::string> sensorNames(const std::vector<std::string>& keys) {
  static const std::map<std::string, std::string> verified = makeVerifiedNames();
  std::map<std::string, std::string> names;
  std::map<std::string_view, std::vector<std::string>> members;
  for (const std::string& key : keys) {
    if (const auto known = verified.find(key); known != verified.end()) {
      names.insert(*known);
      continue;
    }
    const auto family = std::ranges::find(sensorFamilies, std::string_view(key).substr(0, 2), &SensorFamily::prefix);
    if (family != sensorFamilies.end()) members[family->name].push_back(key);
  }
  for (const auto& [name, family] : members) {
    for (std::size_t each = 0; each < family.size(); ++each) {
      names[family[each]] = family.size() == 1 ? std::string(name) : fmt::format("{} {}", name, each + 1);
    }
  }
  return names;
}

}  // namespace halcyra
