#include "VirtualMac/Workload.h"

#include <algorithm>
#include <cmath>

#include "fmt/format.h"
#include "fmt/ranges.h"

#include "VirtualMac/Hash.h"

namespace halcyra {

namespace {

/// How much graphics work goes with a share of processor work.
constexpr double graphicsShare = 0.3;

class ConstantWorkload : public Workload {
 public:
  explicit ConstantWorkload(const WorkloadLevels& levels) : levels_(levels) {}
  WorkloadLevels load(double) override { return levels_; }

 private:
  WorkloadLevels levels_;
};

/// Next to nothing to do, with the small stirrings of a waiting machine.
class IdleWorkload : public Workload {
 public:
  WorkloadLevels load(double time) override {
    const auto slot = static_cast<std::uint64_t>(std::max(time, 0.0) / 3.0);
    const double stir = unitOf(hashOf(1, 11, slot)) * 0.04;
    return {stir * 0.5, stir * 0.5, stir * 2, stir * 0.3, stir * 0.3};
  }
};

/// Quiet with a burst of work in every slot, now more on this bank and now on that, every third with graphics.
class BurstsWorkload : public Workload {
 public:
  explicit BurstsWorkload(std::uint64_t seed) : seed_(seed) {}

  WorkloadLevels load(double time) override {
    const double position = std::max(time, 0.0) / slotSeconds;
    const auto slot = static_cast<std::uint64_t>(position);
    const double within = (position - std::floor(position)) * slotSeconds;
    const double length = 4.0 + 9.0 * draw(slot, 1);
    const double start = (slotSeconds - length) * draw(slot, 2);
    WorkloadLevels levels{0.03, 0.03, 0.08, 0.02, 0.02};
    if (within < start || within >= start + length) {
      return levels;
    }
    const double level = 0.6 + 0.4 * draw(slot, 3);
    const double lean = draw(slot, 4);
    levels.cpuA = level * std::min(1.0, 1.4 - lean);
    levels.cpuB = level * std::min(1.0, 0.4 + lean);
    levels.efficiency = level;
    if (slot % 3 == 2) {
      levels.gpuA = levels.gpuB = level * 0.8;
    }
    return levels;
  }

 private:
  static constexpr double slotSeconds = 25.0;

  double draw(std::uint64_t slot, std::uint64_t what) const { return unitOf(hashOf(seed_, 100 + what, slot)); }

  std::uint64_t seed_;
};

}  // namespace

std::optional<double> Workload::replayedTemperature(SMCKey, double) const {
  return std::nullopt;
}

void HostWorkload::setHostLoad(double load) {
  if (std::isfinite(load)) {
    hostLoad_ = std::clamp(load, 0.0, 1.0);
  }
}

WorkloadLevels HostWorkload::load(double) {
  const double graphics = hostLoad_ * graphicsShare;
  return {hostLoad_, hostLoad_, hostLoad_, graphics, graphics};
}

const std::vector<std::string>& workloadNames() {
  static const std::vector<std::string> names{"idle", "bursts", "sustained", "critical"};
  return names;
}

std::unique_ptr<Workload> makeWorkload(std::string_view name, std::uint64_t seed) {
  if (name == "idle") {
    return std::make_unique<IdleWorkload>();
  }
  if (name == "bursts") {
    return std::make_unique<BurstsWorkload>(seed);
  }
  if (name == "sustained") {
    return std::make_unique<ConstantWorkload>(WorkloadLevels{1, 1, 1, graphicsShare, graphicsShare});
  }
  if (name == "critical") {
    return std::make_unique<ConstantWorkload>(WorkloadLevels{1, 1, 1, 1, 1});
  }
  throw WorkloadError(fmt::format("There is no workload \"{}\"; there are {}", name, fmt::join(workloadNames(), ", ")));
}

}  // namespace halcyra
