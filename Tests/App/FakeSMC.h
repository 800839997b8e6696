#pragma once

#include <string>

#include "Platform/Clock.h"
#include "Support/ScriptedIOKit.h"

namespace halcyra::test {

/// The driver of the verified model with two idle fans and every die sensor at 50 °C; what a test puts there is read.
class FakeSMC : public ScriptedIOKit {
 public:
  explicit FakeSMC(Clock& clock);

  /// °C.
  void setTemperature(const std::string& key, double value);
  /// Every CPU, GPU and hotspot sensor.
  void setDie(double value);
  /// The sensors of the right side only.
  void setBankB(double value);
  void setFanMode(int index, int mode);
  void setFanTarget(int index, double target);
  /// From now on the key is not there.
  void remove(const std::string& key);

  /// While set every call fails.
  bool broken = false;
  /// How long each call takes.
  Seconds callDuration{0.0};
  int calls = 0;

  kern_return_t IOConnectCallStructMethod(io_connect_t connection, std::uint32_t selector, const void* input,
                                          std::size_t inputSize, void* output, std::size_t* outputSize) override;

 private:
  void setFloat(const std::string& key, double value);

  Clock& clock_;
};

}  // namespace halcyra::test
