#pragma once

#include "Platform/Linux/BusThread.h"
#include "Platform/SystemInformation.h"

namespace halcyra {

/// While an assertion is held the machine's shutdown waits a moment for this process, so that the fans can be handed
/// back. Idle sleep stays allowed, as the option says. Without logind an assertion has no effect.
class LinuxActivityAssertions : public ActivityAssertions {
 public:
  /// `systemBus` must outlive this and every assertion.
  explicit LinuxActivityAssertions(BusThread& systemBus) : bus_(systemBus) {}

  std::unique_ptr<ActivityAssertion> beginActivity(ActivityOptions options, const std::string& reason) override;

 private:
  BusThread& bus_;
};

}  // namespace halcyra
