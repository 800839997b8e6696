// Random scripts of everything that can go wrong, half an hour each, under the eyes of the observer.
//
// AEROVANE_SCRIPTS=5000 AEROVANE_SEED=1 runs that many from that seed on; AEROVANE_SCRIPT="seed=…" replays one line.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "fmt/format.h"
#include "gtest/gtest.h"

#include "Support/ScriptRunner.h"

namespace halcyra::test {
namespace {

constexpr int groups = 10;
constexpr int scriptsOfAGroup = 50;

std::uint64_t numberFromEnvironment(const char* name, std::uint64_t fallback) {
  const char* const text = std::getenv(name);
  return text != nullptr ? std::strtoull(text, nullptr, 10) : fallback;
}

bool hasRule(const std::vector<Violation>& violations, Rule rule) {
  for (const Violation& violation : violations) {
    if (violation.rule == rule) return true;
  }
  return false;
}

/// The script without what does not matter to its violation.
std::string shortenedText(const FaultScript& script, Rule rule) {
  const FaultScript shorter =
      shortened(script, [&](const FaultScript& candidate) { return hasRule(ScriptRunner::run(candidate), rule); });
  return shorter.text() + "\n" + describe(ScriptRunner::run(shorter));
}

/// Runs the scripts of these seeds and shows the first few that fail.
void runSeeds(std::uint64_t first, std::uint64_t count) {
  constexpr int mostShown = 5;
  std::map<std::string, int> kinds;
  int failed = 0;
  const auto start = std::chrono::steady_clock::now();
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    const FaultScript script = makeFaultScript(seed);
    for (const ScriptEvent& event : script.events) ++kinds[event.kind()];
    const auto violations = ScriptRunner::run(script);
    if (violations.empty()) continue;
    ADD_FAILURE() << "seed " << seed << ":\n"
                  << describe(violations)
                  << (++failed <= mostShown ? shortenedText(script, violations.front().rule) : script.text());
  }
  const double taken = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::string text;
  for (const auto& [kind, times] : kinds) text += fmt::format(" {} {},", kind, times);
  const double hours = static_cast<double>(count) * FaultScript::duration / 3600;
  std::printf("%d scripts, %.0f simulated hours in %.1f s, %d failed; events:%s\n", static_cast<int>(count), hours,
              taken, failed, text.c_str());
}

/// The seeds are dealt out to several tests, for them to run side by side.
class RandomScriptTests : public testing::TestWithParam<int> {};

TEST_P(RandomScriptTests, EveryRuleHoldsInEveryScript) {
  if (std::getenv("AEROVANE_SCRIPT") != nullptr) GTEST_SKIP() << "one script is replayed instead";
  const std::uint64_t all = numberFromEnvironment("AEROVANE_SCRIPTS", groups * scriptsOfAGroup);
  const std::uint64_t begin = all * static_cast<std::uint64_t>(GetParam()) / groups;
  const std::uint64_t end = all * static_cast<std::uint64_t>(GetParam() + 1) / groups;
  runSeeds(numberFromEnvironment("AEROVANE_SEED", 1) + begin, end - begin);
}

INSTANTIATE_TEST_SUITE_P(Groups, RandomScriptTests, testing::Range(0, groups));

TEST(ScriptReplayTests, TheScriptOfTheEnvironmentKeepsEveryRule) {
  const char* const text = std::getenv("AEROVANE_SCRIPT");
  if (text == nullptr) GTEST_SKIP() << "AEROVANE_SCRIPT is not set";
  const auto violations = ScriptRunner::run(FaultScript::parse(text));
  EXPECT_TRUE(violations.empty()) << describe(violations);
}

}  // namespace
}  // namespace halcyra::test
