// Twelve hours of history: what it occupies, and what recording one more poll costs.

#include <algorithm>
#include <ctime>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "benchmark/benchmark.h"
#include "fmt/format.h"

#include "App/AppModel.h"
#include "AppModelAccess.h"
#include "Support/TestPlatform.h"
#include "Support/VirtualMacIOKit.h"
#include "Support/VirtualScheduler.h"

namespace halcyra {

namespace benchmarks::history {
namespace {

constexpr int sensorCount = 120;

class NoServices : public FanControlHelperConnections {
 public:
  std::shared_ptr<FanControlHelperConnection> connect() override { return nullptr; }
};

/// A model without polls of its own, with two fans.
struct IdleModel {
  IdleModel() {
    process->mainQueue().async(
        [this] { model = AppModel::make(doubles.platform, {.refreshHelperRegistration = true}); });
    scheduler.runFor(Seconds{1});
    AppModelAccess::setFans(
        *model, {{0, 2000, 1350, 5700, FanMode::automatic, 2000}, {1, 2100, 1350, 6200, FanMode::automatic, 2100}});
    for (int i = 0; i < sensorCount; ++i) {
      const std::string key = fmt::format("T{:03}", i);
      readings.push_back({key, key, 40.0 + i * 0.1});
    }
  }
  ~IdleModel() {
    process->mainQueue().async([this] { model.reset(); });
    scheduler.runFor(Seconds{1});
  }
  void record() { AppModelAccess::recordHistory(*model, average, readings); }

  test::VirtualScheduler scheduler;
  std::shared_ptr<test::VirtualProcess> process = scheduler.makeProcess("application");
  VirtualMac machine{{}, makeWorkload("idle")};
  test::VirtualMacIOKit iokit{machine, process->clock(), false};
  NoServices services;
  test::TestPlatform doubles{process, iokit, services};
  std::shared_ptr<AppModel> model;
  CPUCoreAverage average{.temperature = 55,
                         .contributingKeys = {"Te05"},
                         .cpuMaximumTemperature = 60,
                         .hotspotTemperature = 62,
                         .gpuAverageTemperature = 50,
                         .gpuHotspotTemperature = 53,
                         .fanZoneReadings = {},
                         .hasValidatedFanZoneTopology = true};
  std::vector<SensorReading> readings;
};

/// What the vectors have asked for, room not in use included, and what the allocator adds to each block.
double bytesOf(const AppModel& model) {
  constexpr std::size_t blockHeader = 16;
  const auto block = [](std::size_t bytes) { return bytes == 0 ? 0 : (bytes + blockHeader + 15) / 16 * 16; };
  // A sample holds all that belongs to it.
  static_assert(std::is_trivially_copyable_v<HistorySample>);
  std::size_t total = block(model.history().capacity() * sizeof(HistorySample));
  for (const auto& [key, series] : model.sensorHistory()) total += block(series.capacity() * sizeof(float));
  return static_cast<double>(total);
}

/// Time that this thread has run; what others run meanwhile does not count.
double processorMicroseconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

void historyOfTwelveHours(benchmark::State& state) {
  double bytes = 0;
  double longest = 0;
  double sum = 0;
  // The history fills, and is trimmed for the first time.
  constexpr int polls = SessionHistory::sampleLimit + SessionHistory::trimBatchSize;
  for (auto _ : state) {
    IdleModel idle;
    for (int poll = 0; poll < polls; ++poll) {
      const double start = processorMicroseconds();
      idle.record();
      const double taken = processorMicroseconds() - start;
      sum += taken;
      // The first makes the room for all that follow.
      if (poll > 0) longest = std::max(longest, taken);
    }
    bytes = bytesOf(*idle.model);
  }
  state.counters["MB"] = bytes / 1e6;
  state.counters["bar_MB"] = 12.5;
  state.counters["us_each"] = sum / polls / static_cast<double>(state.iterations());
  state.counters["bar_us_each"] = 10;
  state.counters["us_longest"] = longest;
  state.counters["bar_us_longest"] = 2000;
}
BENCHMARK(historyOfTwelveHours)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
}  // namespace benchmarks::history
}  // namespace halcyra
