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

  const auto inCrumbs = [](MachineBench& bench, double to) {
    for (double time = bench.machine.state().time; time < to; time += 0.0371) {
      bench.runTo(time);
      static_cast<void>(bench.readFloat("Tf04"));
    }
  };
  EXPECT_EQ(run(5, inCrumbs), first);

  const auto readingBackwards = [](MachineBench& bench, double to) {
    bench.runTo(to - 20);
    const auto& entries = bench.machine.state().temperatures;
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
      static_cast<void>(bench.read(entry->first));
    }
    bench.runTo(to - 40);
    bench.machine.faults().apply("garbage Tf04");
    static_cast<void>(bench.read("Tf04"));
    bench.machine.faults().apply("clear garbage");
  };
  EXPECT_EQ(run(5, readingBackwards), first);
}

TEST(Determinism, TimeOnlyGoesForward) {
  MachineBench bench;
  bench.runTo(10);
  const std::string before = truthOf(bench);
  for (const double time : {5.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
    bench.runTo(time);
    EXPECT_EQ(truthOf(bench), before);
  }
}

TEST(Determinism, StateAsJSON) {
  MachineBench bench;
  bench.runTo(2);
  const std::string text = bench.machine.state().json().dump();
  EXPECT_EQ(text.rfind(R"({"time":2.0,"calls":0,"writes":0,"fans":[{"index":0,"mode":0,"target":1350.0,)", 0), 0U)
      << text;
  EXPECT_NE(text.find(R"("temperatures":{"TAOL":)"), std::string::npos);
}

}  // namespace
}  // namespace halcyra::test
