#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace halcyra::test {

/// One thing that happens in a script. Commands are self-contained: what goes wrong for a while names the while, and
/// is over when that is over. See `ScriptRunner` for what they do.
struct ScriptEvent {
  /// Seconds since the start.
  double time = 0;
  std::string command;

  /// The command's first word.
  std::string kind() const { return command.substr(0, command.find(' ')); }
  bool operator==(const ScriptEvent&) const = default;
};

/// What happens to the whole program within half an hour. A plain value: the same script gives the same run.
struct FaultScript {
  /// Seconds. From `messagesEnd` on no message is lost any more, so that every call has ended by `faultsEnd`, when
  /// everything else is made whole; what is left is for the recovery.
  static constexpr double messagesEnd = 1435;
  static constexpr double faultsEnd = 1500;
  static constexpr double duration = 1800;

  std::uint64_t seed = 0;
  std::string workload = "bursts";
  /// In the order of their times.
  std::vector<ScriptEvent> events;

  /// One line: "seed=7 workload=idle; 10.0 preset smart-auto; …".
  std::string text() const;
  /// From that line. Throws `std::invalid_argument`.
  static FaultScript parse(std::string_view text);
  bool operator==(const FaultScript&) const = default;
};

/// The script of a seed.
FaultScript makeFaultScript(std::uint64_t seed);

/// Leaves out events for as long as `fails` still holds, which it does for `script`: no event of the result can be
/// left out. `fails` is called with the most promising scripts first, `limit` times at most.
FaultScript shortened(FaultScript script, const std::function<bool(const FaultScript&)>& fails, int limit = 400);

}  // namespace halcyra::test
