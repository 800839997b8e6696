#include "Support/ScriptedSMC.h"

#include <algorithm>
#include <cmath>

namespace halcyra::test {

void ScriptedSMC::setKey(std::string_view name, std::string_view typeCode, std::uint32_t size, SMCValue value,
                         std::uint8_t attributes) {
  std::string type(typeCode);
  type.resize(4, ' ');
  const SMCKey key = SMCKey::fromString(name);
  Entry& entry = entries_[std::string(name)];
  entry.info = {key, size, SMCKey::fromString(type).rawValue, attributes, std::string(name)};
  entry.value = std::move(value);
  if (std::ranges::find(table_, name) == table_.end()) {
    table_.emplace_back(name);
  }
}

void ScriptedSMC::setFloat(std::string_view name, double value) {
  setKey(name, "flt", 4, SMCValue::makeFloat(static_cast<float>(value)));
}

void ScriptedSMC::setUInt8(std::string_view name, std::uint8_t value) {
  setKey(name, "ui8", 1, SMCValue::makeUInt8(value));
}

void ScriptedSMC::addFan(int index, double minimum, double maximum) {
  const std::string prefix = "F" + std::to_string(index);
  setFloat(prefix + "Ac", minimum + 800);
  setFloat(prefix + "Mn", minimum);
  setFloat(prefix + "Mx", maximum);
  setUInt8(prefix + "Md", 0);
  setFloat(prefix + "Tg", minimum);
}

void ScriptedSMC::failReads(std::string_view name, std::optional<SMCError> error) {
  entries_.at(std::string(name)).readError = std::move(error);
}

void ScriptedSMC::failInfo(std::string_view name, std::optional<SMCError> error) {
  entries_.at(std::string(name)).infoError = std::move(error);
}

long ScriptedSMC::count(std::string_view access) const {
  return std::ranges::count(accesses_, access);
}

ScriptedSMC::Entry& ScriptedSMC::entry(const std::string& name) {
  const auto found = entries_.find(name);
  if (found == entries_.end()) {
    throw SMCError::keyNotFound(name);
  }
  return found->second;
}

SMCValue ScriptedSMC::readKey(SMCKey key) {
  const std::string name = stringFromKey(key);
  accesses_.push_back("read " + name);
  const int earlierReads = readCounts_[name]++;
  if (readHook_) {
    readHook_(name, earlierReads);
  }
  const Entry& found = entry(name);
  if (found.readError) {
    throw *found.readError;
  }
  return found.value;
}

SMCKeyInfo ScriptedSMC::getKeyInfo(SMCKey key) {
  const std::string name = stringFromKey(key);
  accesses_.push_back("info " + name);
  const Entry& found = entry(name);
  if (found.infoError) {
    throw *found.infoError;
  }
  return found.info;
}

SMCKey ScriptedSMC::getKeyFromIndex(std::uint32_t index) {
  accesses_.push_back("index " + std::to_string(index));
  if (index >= table_.size() || failingIndices_.contains(index)) {
    throw SMCError::keyNotFound("#" + std::to_string(index));
  }
  return SMCKey::fromString(table_[index]);
}

std::uint32_t ScriptedSMC::getKeyCount() {
  accesses_.emplace_back("count");
  if (keyCountError_) {
    throw *keyCountError_;
  }
  return keyCount_.value_or(static_cast<std::uint32_t>(table_.size()));
}

float ScriptedSMC::readNumber(SMCKey key) {
  const SMCValue value = readKey(key);
  if (value.asFloat() == nullptr) {
    throw SMCError::unsupportedType(stringFromKey(key));
  }
  return *value.asFloat();
}

double ScriptedSMC::readTemperature(SMCKey key) {
  return static_cast<double>(readNumber(key));
}

std::int64_t ScriptedSMC::readFanRPM(SMCKey key) {
  const float value = readNumber(key);
  if (!std::isfinite(value) || value < 0) {
    throw SMCError::readFailed(stringFromKey(key) + " returned an invalid RPM");
  }
  return std::llround(value);
}

void ScriptedSMC::write(SMCKey key, const SMCValue& value, bool verified) {
  const std::string name = stringFromKey(key);
  accesses_.push_back("write " + name);
  writes_.push_back({name, value, verified});
  if (writeHandler_) {
    writeHandler_(name, value);
  } else {
    entry(name).value = value;
  }
}

}  // namespace halcyra::test
