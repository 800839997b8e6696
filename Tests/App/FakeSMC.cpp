#include "App/FakeSMC.h"

#include <cstring>

#include "Helpers/SensorReader.h"
#include "SMC/SMCError.h"

namespace halcyra::test {

FakeSMC::FakeSMC(Clock& clock) : clock_(clock) {
  setDie(50);
  for (const int index : {0, 1}) {
    const std::string fan = "F" + std::to_string(index);
    setFloat(fan + "Ac", 1500);
    setFloat(fan + "Mn", 1200);
    setFloat(fan + "Mx", 5000);
    setFanMode(index, 0);
    setFanTarget(index, 1500);
  }
  const std::size_t dies = SensorReader::m3CPUCoreKeys.size() + SensorReader::m3GPUClusterKeys.size() + 2;
  setKey("#KEY", "ui32", {0, 0, 0, static_cast<std::uint8_t>(dies + 2 * 5 + 1)});
}

void FakeSMC::setFloat(const std::string& key, double value) {
  const auto number = static_cast<float>(value);
  std::vector<std::uint8_t> bytes(sizeof number);
  std::memcpy(bytes.data(), &number, sizeof number);
  setKey(key, "flt ", bytes);
}

void FakeSMC::setTemperature(const std::string& key, double value) {
  setFloat(key, value);
}

void FakeSMC::setDie(double value) {
  for (const SMCKey key : SensorReader::m3CPUCoreKeys) setTemperature(stringFromKey(key), value);
  for (const SMCKey key : SensorReader::m3GPUClusterKeys) setTemperature(stringFromKey(key), value);
  setTemperature(stringFromKey(SensorReader::cpuHotspotKey), value);
  setTemperature(stringFromKey(SensorReader::gpuHotspotKey), value);
}

void FakeSMC::setBankB(double value) {
  for (const SMCKey key : SensorReader::m3PerformanceBankBKeys) setTemperature(stringFromKey(key), value);
  for (const SMCKey key : SensorReader::m3GPUClusterBankBKeys) setTemperature(stringFromKey(key), value);
}

void FakeSMC::setFanMode(int index, int mode) {
  setKey("F" + std::to_string(index) + "Md", "ui8 ", {static_cast<std::uint8_t>(mode)});
}

void FakeSMC::setFanTarget(int index, double target) {
  setFloat("F" + std::to_string(index) + "Tg", target);
}

void FakeSMC::remove(const std::string& key) {
  fail(SMCParamStruct::readKeyInfo, key, {.result = SMCError::resultKeyNotFound});
  fail(SMCParamStruct::readBytes, key, {.result = SMCError::resultKeyNotFound});
}

kern_return_t FakeSMC::IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                                 std::size_t inputSize, void* output, std::size_t* outputSize) {
  clock_.sleep(callDuration);
  ++calls;
  return broken ? kIOReturnError
                : ScriptedIOKit::IOConnectCallStructMethod(connection, selector, input, inputSize, output, outputSize);
}

}  // namespace halcyra::test
