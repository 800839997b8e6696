#include "UI/FanNames.h"

#include "fmt/format.h"

namespace halcyra {

std::string fanLabel(int fan) {
  return fmt::format("{} (F{})", shortFanLabel(fan), fan);
}

std::string shortFanLabel(int fan) {
  if (fan == 0) return "Left Fan";
  return fan == 1 ? "Right Fan" : fmt::format("Fan {}", fan + 1);
}

std::string zoneLabel(int fan) {
  if (fan == 0) return "Left zone";
  return fan == 1 ? "Right zone" : fmt::format("Fan {} zone", fan + 1);
}

}  // namespace halcyra
