#include "Helpers/ControlStrategy.h"

namespace halcyra {

std::string_view rawValue(ControlStrategy strategy) {
  switch (strategy) {
    case ControlStrategy::cpuCoreAverage:
      return "cpuCoreAverage";
    case ControlStrategy::constantRPM:
      return "constantRPM";
  }
  return "";
}

std::optional<ControlStrategy> controlStrategyFromRaw(std::string_view raw) {
  for (const ControlStrategy strategy : allControlStrategies) {
    if (raw == rawValue(strategy)) return strategy;
  }
  return std::nullopt;
}

}  // namespace halcyra
