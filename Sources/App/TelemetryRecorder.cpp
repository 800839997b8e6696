#include "App/TelemetryRecorder.h"

#include <algorithm>
#include <set>
#include <span>

#include "fmt/format.h"

namespace halcyra {

namespace {

void addNames(std::set<std::string>& names, std::span<const SMCKey> keys) {
  for (const SMCKey key : keys) {
    names.insert(stringFromKey(key));
  }
}

void addValidatedSensors(std::set<std::string>& names) {
  addNames(names, SensorReader::m3CPUCoreKeys);
  addNames(names, SensorReader::m3GPUClusterKeys);
  addNames(names, SensorReader::m3LeftChassisKeys);
  addNames(names, SensorReader::m3RightChassisKeys);
}

}  // namespace

std::string TelemetryRecorder::add(Instant time, Date date, const std::vector<SensorReading>& readings,
                                   const std::vector<FanInfo>& fans, bool validatedModel) {
  std::string text = start_ ? remarks(readings) : begin(time, date, readings, fans, validatedModel);
  text += fmt::format("{:.3f}", Seconds{time - *start_}.count());
  for (const std::string& name : sensors_) {
    const auto reading = std::ranges::find(readings, name, &SensorReading::keyName);
    text += reading == readings.end() ? std::string(",") : fmt::format(",{:.3f}", reading->value);
  }
  for (const int index : fans_) {
    const auto fan = std::ranges::find(fans, index, &FanInfo::index);
    text += fan == fans.end() ? std::string(",") : fmt::format(",{}", fan->actualRPM);
  }
  return text + "\n";
}

std::string TelemetryRecorder::begin(Instant time, Date date, const std::vector<SensorReading>& readings,
                                     const std::vector<FanInfo>& fans, bool validatedModel) {
  start_ = time;
  std::set<std::string> names;
  for (const SensorReading& reading : readings) {
    names.insert(reading.keyName);
  }
  if (validatedModel) {
    addValidatedSensors(names);
  }
  sensors_.assign(names.begin(), names.end());
  for (const FanInfo& fan : fans) {
    fans_.push_back(fan.index);
  }
  std::ranges::sort(fans_);
  std::string text = fmt::format("# Recorded by Aerovane from {}\ntime", iso8601String(date));
  for (const std::string& name : sensors_) {
    text += "," + name;
  }
  for (const int index : fans_) {
    text += fmt::format(",F{}Ac", index);
  }
  return text + "\n";
}

std::string TelemetryRecorder::remarks(const std::vector<SensorReading>& readings) {
  std::string text;
  for (const SensorReading& reading : readings) {
    const std::string& name = reading.keyName;
    if (!std::ranges::binary_search(sensors_, name) && std::ranges::find(leftOut_, name) == leftOut_.end()) {
      leftOut_.push_back(name);
      text += fmt::format("# {} appeared after the start and is not recorded\n", name);
    }
  }
  return text;
}

}  // namespace halcyra
