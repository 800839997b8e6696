// Processor time and memory of the running programs, as the operating system accounts for them.

#include <chrono>
#include <thread>

#include "benchmark/benchmark.h"

#include "MachineUnderTest.h"

namespace halcyra::benchmarks {
namespace {

/// The console application under Smart Auto for `state.range(0)` seconds after a warm-up.
void consoleFootprint(benchmark::State& state) {
  const MachineUnderTest machine;
  setenv("XDG_CONFIG_HOME", machine.folder().parent_path().c_str(), 1);
  const std::string folder = machine.folder().string();
  const pid_t application = startProgram("aerovane",
                                         {"--console", "--json", "--runtime-dir", folder, "--install-helper",
                                          "--approve-helper", "--supervised-test", "--preset", "Smart Auto"},
                                         machine.folder().parent_path() / "application");
  std::this_thread::sleep_for(std::chrono::seconds(15));
  for (auto _ : state) {
    const double before = processorTime(application);
    std::this_thread::sleep_for(std::chrono::seconds(state.range(0)));
    const double polls = static_cast<double>(state.range(0)) / pollingInterval;
    state.counters["application_ms_per_poll"] = (processorTime(application) - before) / polls * 1e3;
    state.counters["application_PSS_MB"] = proportionalSetSize(application);
    for (const pid_t helper : processesOf("aerovane-helper", folder)) {
      state.counters["helper_PSS_MB"] = proportionalSetSize(helper);
    }
  }
  endProgram(application);
}
BENCHMARK(consoleFootprint)->Arg(60)->Unit(benchmark::kSecond)->Iterations(1);

}  // namespace
}  // namespace halcyra::benchmarks
