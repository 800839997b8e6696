#include "App/FakeSMC.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

#include "Helpers/SensorReader.h"
#include "SMC/SMCKey.h"

namespace halcyra::test {

namespace {

constexpr std::uint8_t keyNotFound = 0x84;
constexpr std::uint8_t notWritable = 0x86;
constexpr io_connect_t connectionHandle = 7;

std::string fanKey(int index, const char* suffix) {
  return "F" + std::to_string(index) + suffix;
}

std::vector<std::uint8_t> floatBytes(double value) {
  const auto number = static_cast<float>(value);
  std::vector<std::uint8_t> bytes(sizeof number);
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

}  // namespace

FakeSMC::FakeSMC(Clock& clock) : clock_(clock) {
  setDie(50);
  for (int index = 0; index < 2; ++index) {
    keys_[fanKey(index, "Md")] = {"ui8 ", {0}, 0xC0};
    setFan(index, 1500, 1200, 5000);
    setFanTarget(index, 1500);
  }
}

void FakeSMC::setFloat(const std::string& key, double value, bool writable) {
  keys_[key] = {"flt ", floatBytes(value), static_cast<std::uint8_t>(writable ? 0xC0 : 0x80)};
}

void FakeSMC::setTemperature(const std::string& key, double value) {
  setFloat(key, value, false);
}

void FakeSMC::setDie(double value) {
  for (const SMCKey key : SensorReader::m3CPUCoreKeys) setTemperature(stringFromKey(key), value);
  for (const SMCKey key : SensorReader::m3GPUClusterKeys) setTemperature(stringFromKey(key), value);
  setTemperature(stringFromKey(SensorReader::cpuHotspotKey), value);
  setTemperature(stringFromKey(SensorReader::gpuHotspotKey), value);
}

void FakeSMC::setBank(char bank, double value) {
  const auto set = [&](const auto& keys) {
    for (const SMCKey key : keys) setTemperature(stringFromKey(key), value);
  };
  if (bank == 'A') {
    set(SensorReader::m3PerformanceBankAKeys);
    set(SensorReader::m3GPUClusterBankAKeys);
  } else {
    set(SensorReader::m3PerformanceBankBKeys);
    set(SensorReader::m3GPUClusterBankBKeys);
  }
}

void FakeSMC::setFan(int index, double actual, double minimum, double maximum) {
  setFloat(fanKey(index, "Ac"), actual, false);
  setFloat(fanKey(index, "Mn"), minimum, false);
  setFloat(fanKey(index, "Mx"), maximum, false);
}

void FakeSMC::setFanMode(int index, int mode) {
  keys_[fanKey(index, "Md")].bytes = {static_cast<std::uint8_t>(mode)};
}

void FakeSMC::setFanTarget(int index, double target) {
  setFloat(fanKey(index, "Tg"), target, true);
}

kern_return_t FakeSMC::IOServiceOpen(io_service_t, task_port_t, std::uint32_t, io_connect_t* connection) {
  if (refusesToOpen) {
    return kIOReturnNotPermitted;
  }
  ++opened;
  *connection = connectionHandle;
  return kIOReturnSuccess;
}

kern_return_t FakeSMC::IOServiceClose(io_connect_t) {
  ++closed;
  return kIOReturnSuccess;
}

kern_return_t FakeSMC::IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                                 std::size_t inputSize, void* output, std::size_t* outputSize) {
  clock_.sleep(callDuration);
  ++calls;
  if (broken || connection != connectionHandle) {
    return kIOReturnError;
  }
  if (selector != SMCParamStruct::selector || inputSize != sizeof(SMCParamStruct) ||
      *outputSize != sizeof(SMCParamStruct)) {
    return kIOReturnBadArgument;
  }
  SMCParamStruct request, reply;
  std::memcpy(&request, input, sizeof request);
  answer(request, reply);
  std::memcpy(output, &reply, sizeof reply);
  return kIOReturnSuccess;
}

void FakeSMC::answer(const SMCParamStruct& input, SMCParamStruct& output) {
  if (input.command == SMCParamStruct::readKeyIndex) {
    answerKeyIndex(input.data32, output);
    return;
  }
  if (input.command == SMCParamStruct::writeBytes) {
    ++writes;
    output.result = notWritable;
    return;
  }
  const std::string name = stringFromCode(input.key);
  Value count{"ui32", {0, 0, 0, static_cast<std::uint8_t>(keys_.size())}};
  const auto found = keys_.find(name);
  if (found == keys_.end() && name != "#KEY") {
    output.result = keyNotFound;
    return;
  }
  const Value& value = found == keys_.end() ? count : found->second;
  output.keyInfoDataSize = static_cast<std::uint32_t>(value.bytes.size());
  output.keyInfoDataType = SMCKey::fromString(value.type).rawValue;
  output.keyInfoAttributes = value.attributes;
  if (input.command == SMCParamStruct::readBytes) {
    std::copy(value.bytes.begin(), value.bytes.end(), output.bytes.begin());
  }
}

void FakeSMC::answerKeyIndex(std::uint32_t index, SMCParamStruct& output) const {
  if (index >= keys_.size()) {
    output.result = keyNotFound;
    return;
  }
  output.key = SMCKey::fromString(std::next(keys_.begin(), index)->first).rawValue;
}

}  // namespace halcyra::test
