#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Platform/Clock.h"
#include "Platform/IOKit.h"
#include "SMC/SMCParamStruct.h"

namespace halcyra::test {

/// A driver over a plain table of keys: reads what the test puts there, and refuses and counts writes.
class FakeSMC : public IOKit {
 public:
  /// The keys of the verified model with two idle fans and every die sensor at 50 °C.
  explicit FakeSMC(Clock& clock);

  /// °C.
  void setTemperature(const std::string& key, double value);
  /// Every CPU, GPU and hotspot sensor.
  void setDie(double value);
  /// The sensors of one side only: "A" (left) or "B" (right) banks of CPU and GPU.
  void setBank(char bank, double value);
  void setFan(int index, double actual, double minimum, double maximum);
  void setFanMode(int index, int mode);
  void setFanTarget(int index, double target);
  void remove(const std::string& key) { keys_.erase(key); }

  /// While set every call fails.
  bool broken = false;
  bool refusesToOpen = false;
  /// How long each call takes.
  Seconds callDuration{0.0};
  int opened = 0;
  int closed = 0;
  int calls = 0;
  int writes = 0;

  IOMatchingDictionary IOServiceMatching(const char* name) override { return {name}; }
  io_service_t IOServiceGetMatchingService(mach_port_t, const IOMatchingDictionary&) override { return 1; }
  kern_return_t IOServiceOpen(io_service_t, task_port_t, std::uint32_t, io_connect_t* connection) override;
  kern_return_t IOObjectRelease(io_object_t) override { return kIOReturnSuccess; }
  kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                          std::size_t inputSize, void* output, std::size_t* outputSize) override;
  kern_return_t IOServiceClose(io_connect_t connection) override;

 private:
  struct Value {
    std::string type;
    std::vector<std::uint8_t> bytes;
    std::uint8_t attributes = 0x80;
  };

  void setFloat(const std::string& key, double value, bool writable);
  void answer(const SMCParamStruct& input, SMCParamStruct& output);
  void answerKeyIndex(std::uint32_t index, SMCParamStruct& output) const;

  Clock& clock_;
  std::map<std::string, Value> keys_;
};

}  // namespace halcyra::test
