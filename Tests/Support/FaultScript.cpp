#include "Support/FaultScript.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <sstream>
#include <stdexcept>

#include "fmt/format.h"

namespace halcyra::test {

namespace {

constexpr double firstPreset = 10;
constexpr double firstFault = 20;

double inTenths(double value) {
  return std::round(value * 10) / 10;
}

/// The same numbers from the same seed everywhere, which the distributions of the standard library do not promise.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : engine_(seed * 0x9E3779B97F4A7C15ULL + 1) {}

  std::uint64_t below(std::uint64_t limit) { return engine_() % limit; }
  /// In tenths.
  double between(double least, double most) {
    return inTenths(least + (most - least) * static_cast<double>(below(1'000'001)) / 1e6);
  }
  template <typename Items>
  auto pick(const Items& items) {
    return items[below(items.size())];
  }

 private:
  std::mt19937_64 engine_;
};

using Words = std::vector<std::string>;

const Words workloads{"idle", "bursts", "sustained", "critical"};
const Words presets{"smart-auto", "smart-auto", "full-blast", "cooling",      "battery-saver",
                    "steady",     "mine",       "mine",       "apple-default"};
const Words dieKeys{"Te05", "Te0L", "Tf04", "Tf0A", "Tf0E", "Tf44", "Tf4B", "Tf14", "Tf1A", "Tf24", "TCMz", "TRDX"};
const Words fanKeys{"F0Ac", "F1Ac", "F0Md", "F1Md", "F0Tg", "F1Tg"};
/// Limits are not falsified: nobody could notice.
const Words limitKeys{"F0Mn", "F1Mn", "F0Mx", "F1Mx"};
const Words writtenKeys{"F0Md", "F1Md", "F0Tg", "F1Tg"};
const Words selectors{"begin", "heartbeat", "mode", "target", "reset", "end"};

std::string sensorFault(Dice& dice) {
  const std::string key = dice.pick(dieKeys);
  switch (dice.below(7)) {
    case 0:
      return "vanish " + key;
    case 1:
      return "nan " + key;
    case 2:
      return "inf " + key;
    case 3:
      return "garbage " + key;
    case 4:
      return "freeze " + key;
    case 5:
      return fmt::format("value {} {:.1f}", key, dice.between(-60, 160));
    default:
      return fmt::format("jump {} {:.1f}", key, dice.between(-40, 60));
  }
}

std::string fanFault(Dice& dice) {
  switch (dice.below(6)) {
    case 0:
      return "vanish " + dice.pick(dice.below(2) == 0 ? fanKeys : limitKeys);
    case 1:
      return "garbage " + dice.pick(fanKeys);
    case 2:
      return "freeze " + dice.pick(fanKeys);
    case 3:
      return fmt::format("result-read {} 0x{:x} {}", dice.pick(dice.below(2) == 0 ? fanKeys : limitKeys),
                         dice.pick(std::array{0x82, 0x84, 0xff}), 1 + dice.below(6));
    case 4:
      return fmt::format("value {} {}", dice.pick(Words{"F0Md", "F1Md"}), dice.pick(std::array{0, 1, 3, 77}));
    default:
      return fmt::format("value {} {:.0f}", dice.pick(Words{"F0Tg", "F1Tg", "F0Ac"}), dice.between(0, 9000));
  }
}

std::string writeFault(Dice& dice) {
  switch (dice.below(4)) {
    case 0:
      return "never-latch " + dice.pick(writtenKeys);
    case 1:
      return fmt::format("result {} 0x{:x} {}", dice.pick(writtenKeys), dice.pick(std::array{0x82, 0x83, 0x84, 0x86}),
                         1 + dice.below(5));
    case 2:
      return "refuse-writes";
    default:
      return fmt::format("latch-delay {:.1f}", dice.between(0.5, 6));
  }
}

/// Faults of the machine, each for a while.
std::string machineFault(Dice& dice) {
  const double seconds = dice.between(1, dice.below(3) == 0 ? 120 : 20);
  const auto lasting = [&](const std::string& fault) { return fmt::format("fault {:.1f} {}", seconds, fault); };
  switch (dice.below(10)) {
    case 0:
    case 1:
    case 2:
      return lasting(sensorFault(dice));
    case 3:
      return fmt::format("blind {:.1f} {}", seconds, dice.pick(Words{"nan", "vanish", "garbage"}));
    case 4:
    case 5:
      return lasting(fanFault(dice));
    case 6:
      return lasting(writeFault(dice));
    case 7:
      return lasting(dice.below(2) == 0 ? "driver-gone" : fmt::format("slow {}", dice.pick(std::array{5, 20, 60})));
    case 8:
      return fmt::format("spike {:.1f} {:.1f}", dice.between(104, 114), dice.between(3, 40));
    default:
      return fmt::format("other-party {} {}", dice.below(2), dice.pick(std::array{0, 1, 1}));
  }
}

std::string messageFault(Dice& dice) {
  const std::string selector = dice.pick(selectors);
  switch (dice.below(5)) {
    case 0:
      return fmt::format("message {} lose-request", selector);
    case 1:
      return fmt::format("message {} lose-reply", selector);
    case 2:
      return fmt::format("message {} late {:.1f}", selector, dice.between(0.5, 25));
    case 3:
      return fmt::format("message {} twice", selector);
    default:
      return fmt::format("message {} fail {}", selector, dice.pick(std::array{4097, 4099}));
  }
}

std::string processFault(Dice& dice) {
  switch (dice.below(10)) {
    case 0:
    case 1:
      return "kill-helper";
    case 2:
      return fmt::format("kill-application {:.1f}", dice.between(0.1, 40));
    case 3:
      return fmt::format("stop-application {:.1f}", dice.between(1, 40));
    case 4:
      return fmt::format("hang-application {:.1f}", dice.between(1, 40));
    case 5:
      return fmt::format("quit-application {:.1f}", dice.between(0.1, 40));
    case 6:
      return fmt::format("stop-helper {:.1f}", dice.between(1, 30));
    case 7:
      return fmt::format("lose-bus {:.1f}", dice.between(0.1, 30));
    case 8:
      return fmt::format("second-application {:.1f} {}", dice.between(5, 200), dice.pick(presets));
    default:
      return "invalidate";
  }
}

std::string userEvent(Dice& dice) {
  switch (dice.below(10)) {
    case 0:
    case 1:
    case 2:
    case 3:
      return "preset " + dice.pick(presets);
    case 4:
      return fmt::format("edit {} {:.0f}", dice.pick(Words{"steady", "mine"}), dice.between(1400, 5500));
    case 5:
      return "delete " + dice.pick(Words{"steady", "mine"});
    case 6:
      return fmt::format("other-owner {:.1f}", dice.between(0.1, 60));
    case 7:
      return fmt::format("interval {:.1f}", dice.between(1, 5));
    case 8:
      return fmt::format("competitor {:.1f}", dice.between(0.1, 60));
    default:
      return "emergency-reset";
  }
}

std::string systemEvent(Dice& dice) {
  switch (dice.below(4)) {
    case 0:
    case 1:
      return fmt::format("sleep {:.1f}", dice.between(0.1, 90));
    case 2:
      return fmt::format("clock {:.0f}", dice.pick(std::array{-3600.0, 3600.0, -5.0, 5.0, 60.0}));
    default:
      return "uninstall " + fmt::format("{:.1f}", dice.between(1, 60));
  }
}

std::string anyEvent(Dice& dice) {
  const std::uint64_t drawn = dice.below(20);
  if (drawn < 7) return machineFault(dice);
  if (drawn < 10) return messageFault(dice);
  if (drawn < 14) return processFault(dice);
  if (drawn < 18) return userEvent(dice);
  return systemEvent(dice);
}

double numberOf(const std::string& text) {
  std::size_t end = 0;
  const double number = std::stod(text, &end);
  if (end != text.size()) throw std::invalid_argument("no number: " + text);
  return number;
}

}  // namespace

std::string FaultScript::text() const {
  std::string line = fmt::format("seed={} workload={}", seed, workload);
  for (const ScriptEvent& event : events) line += fmt::format("; {:.1f} {}", event.time, event.command);
  return line;
}

FaultScript FaultScript::parse(std::string_view text) {
  FaultScript script;
  std::istringstream pieces{std::string(text)};
  std::string piece;
  std::getline(pieces, piece, ';');
  const auto workloadAt = piece.find(" workload=");
  if (!piece.starts_with("seed=") || workloadAt == std::string::npos) {
    throw std::invalid_argument("a script begins with \"seed=NUMBER workload=NAME\"");
  }
  script.seed = std::stoull(piece.substr(5, workloadAt - 5));
  script.workload = piece.substr(workloadAt + std::string_view(" workload=").size());
  while (std::getline(pieces, piece, ';')) {
    const auto start = piece.find_first_not_of(' ');
    const auto blank = start == std::string::npos ? start : piece.find(' ', start);
    if (blank == std::string::npos) throw std::invalid_argument("no event: " + piece);
    script.events.push_back({numberOf(piece.substr(start, blank - start)), piece.substr(blank + 1)});
  }
  return script;
}

FaultScript makeFaultScript(std::uint64_t seed) {
  Dice dice(seed);
  FaultScript script;
  script.seed = seed;
  script.workload = dice.pick(workloads);
  std::string first = dice.pick(presets);
  if (first == "apple-default") first = "smart-auto";
  script.events.push_back({firstPreset, "preset " + first});
  const std::uint64_t count = 6 + dice.below(16);
  double last = firstFault;
  for (std::uint64_t index = 0; index < count; ++index) {
    // Half of the events come close upon another: it is in what was just begun that faults hurt.
    const bool close = index > 0 && dice.below(2) == 0;
    const double time = close ? std::min(last + dice.between(0, 6), FaultScript::faultsEnd - 1)
                              : dice.between(firstFault, FaultScript::faultsEnd - 1);
    script.events.push_back({inTenths(time), anyEvent(dice)});
    last = time;
  }
  std::stable_sort(script.events.begin(), script.events.end(),
                   [](const ScriptEvent& a, const ScriptEvent& b) { return a.time < b.time; });
  return script;
}

FaultScript shortened(FaultScript script, const std::function<bool(const FaultScript&)>& fails, int limit) {
  std::size_t chunk = std::max<std::size_t>(script.events.size() / 2, 1);
  for (bool removed = true; removed || chunk > 1;) {
    if (!removed) chunk = std::max<std::size_t>(chunk / 2, 1);
    removed = false;
    for (std::size_t start = 0; start < script.events.size() && limit > 0;) {
      FaultScript candidate = script;
      const auto begin = candidate.events.begin() + static_cast<std::ptrdiff_t>(start);
      const auto length = std::min(chunk, candidate.events.size() - start);
      candidate.events.erase(begin, begin + static_cast<std::ptrdiff_t>(length));
      --limit;
      if (fails(candidate)) {
        script = std::move(candidate);
        removed = true;
      } else {
        start += chunk;
      }
    }
    if (limit <= 0) break;
  }
  return script;
}

}  // namespace halcyra::test
