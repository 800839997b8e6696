#include <functional>
#include <limits>
#include <string>

#include "gtest/gtest.h"
#include "nlohmann/json.hpp"

#include "VirtualMac/MachineBench.h"

namespace halcyra::test {
namespace {

/// The machine's state without the count of calls, which tells of the asking and not of the machine.
std::string truthOf(const MachineBench& bench) {
  auto state = bench.machine.state();
  state.calls = 0;
  return state.json().dump();
}

/// Ten minutes with writes at fixed times; `between` is called with the next time to be reached.
std::string run(std::uint64_t seed, const std::function<void(MachineBench&, double)>& between) {
  MachineBench bench("bursts", seed);
  for (int minute = 1; minute <= 10; ++minute) {
    const double time = minute * 60.0 - 0.013;
    between(bench, time);
    bench.runTo(time);
    bench.insistOnMode(minute % 2, static_cast<std::uint8_t>(minute % 3 != 0));
    static_cast<void>(bench.writeTarget(minute % 2, 2000.0F + 300.0F * static_cast<float>(minute)));
    if (minute == 4) {
      bench.machine.faults().apply("spike 110 6");
      bench.machine.faults().apply("ambient 30");
    }
  }
  bench.runTo(660);
  return truthOf(bench);
}

TEST(Determinism, HowOftenTheMachineIsAskedDoesNotMatter) {
  const auto untouched = [](MachineBench&, double) {};
  const std::string first = run(5, untouched);
  EXPECT_EQ(run(5, untouched), first);
  EXPECT_NE(run(6, untouched), first);

  const auto inCrumbsAndBackwards = [](MachineBench& bench, double to) {
    for (double time = bench.machine.state().time; time < to; time += 0.0371) {
      bench.runTo(time);
      bench.runTo(time - 5);
      bench.machine.faults().apply("garbage Tf04");
      static_cast<void>(bench.readFloat("Tf04"));
      bench.machine.faults().apply("clear garbage");
    }
    bench.runTo(std::numeric_limits<double>::quiet_NaN());
  };
  EXPECT_EQ(run(5, inCrumbsAndBackwards), first);
}

}  // namespace
}  // namespace halcyra::test
