// What applying a snapshot costs the main thread, at the start and after hours.

#include <memory>
#include <string>
#include <utility>

#include "benchmark/benchmark.h"
#include "fmt/format.h"

#include "App/AppModel.h"
#include "AppModelAccess.h"
#include "Support/TestPlatform.h"
#include "Support/VirtualMacIOKit.h"
#include "Support/VirtualScheduler.h"

namespace halcyra {

namespace benchmarks {
namespace {

constexpr int sensorCount = 120;
/// Just below the length at which history is trimmed: twelve hours of polls every two seconds.
constexpr int fullHistory = 21'000;

/// Apple Default asks nothing of the helper.
class NoServices : public FanControlHelperConnections {
 public:
  std::shared_ptr<FanControlHelperConnection> connect() override { return nullptr; }
};

TelemetrySnapshot makeSnapshot() {
  TelemetrySnapshot snapshot;
  snapshot.fans = {{0, 2000, 1350, 5700, FanMode::automatic, 2000}, {1, 2100, 1350, 6200, FanMode::automatic, 2100}};
  snapshot.average = CPUCoreAverage{.temperature = 55,
                                    .contributingKeys = {"Te05", "Tf04", "Tf44"},
                                    .cpuMaximumTemperature = 60,
                                    .hotspotTemperature = 62,
                                    .gpuAverageTemperature = 50,
                                    .gpuHotspotTemperature = 53,
                                    .fanZoneReadings = {{0, "Left", 56, "CPU core bank A", {"Tf04"}, 56, {}},
                                                        {1, "Right", 57, "CPU core bank B", {"Tf44"}, 57, {}}},
                                    .hasValidatedFanZoneTopology = true};
  for (int i = 0; i < sensorCount; ++i) {
    const std::string key = fmt::format("T{:03}", i);
    snapshot.readings.push_back({key, key, 40.0 + i * 0.1});
  }
  return snapshot;
}

/// `state.range(0)`: the polls applied before.
void applySnapshot(benchmark::State& state) {
  test::VirtualScheduler scheduler;
  const auto process = scheduler.makeProcess("application");
  VirtualMac machine({}, makeWorkload("idle"));
  test::VirtualMacIOKit iokit(machine, process->clock(), false);
  NoServices services;
  test::TestPlatform doubles(process, iokit, services);
  std::shared_ptr<AppModel> model;
  process->mainQueue().async([&] { model = AppModel::make(doubles.platform); });
  scheduler.runFor(Seconds{1});
  const TelemetrySnapshot snapshot = makeSnapshot();
  for (int i = 0; i < state.range(0); ++i) AppModelAccess::apply(*model, snapshot);
  for (auto _ : state) {
    state.PauseTiming();
    TelemetrySnapshot next = snapshot;
    state.ResumeTiming();
    AppModelAccess::apply(*model, std::move(next));
  }
  state.counters["bar_us"] = 20;
  process->mainQueue().async([&] { model.reset(); });
  scheduler.runFor(Seconds{1});
}
// Iterations stay below a trim's distance, so that no trim (one in 600 polls) falls into the second figure alone.
BENCHMARK(applySnapshot)->Arg(0)->Arg(fullHistory)->Unit(benchmark::kMicrosecond)->Iterations(500);

}  // namespace
}  // namespace benchmarks
}  // namespace halcyra
