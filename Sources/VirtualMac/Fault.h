#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Error.h"
#include "SMC/SMCKey.h"

namespace halcyra {

/// A fault command that cannot be understood or makes no sense. The text says why.
class FaultError : public LocalizedError {
 public:
  using LocalizedError::LocalizedError;
  std::string_view domain() const override { return "Halcyra.FaultError"; }
};

enum class FaultKind {
  vanish,
  garbage,
  value,
  nan,
  inf,
  freeze,
  jump,
  neverLatch,
  latchDelay,
  result,
  resultRead,
  refuseWrites,
  slow,
  driverGone,
  spike,
  ambient,
  setMode,
};

/// One thing that goes wrong. Only the fields that its kind uses are set.
struct Fault {
  FaultKind kind = FaultKind::vanish;
  /// The key it concerns; the zero key when it concerns none.
  SMCKey key;
  /// The reading, the jump in °C or RPM, the delay in milliseconds (`slow`) or seconds (`latchDelay`), the °C of
  /// `spike` and `ambient`.
  double number = 0;
  /// How long a `spike` lasts, in seconds.
  double seconds = 0;
  /// When a `spike` is over, in seconds since power-on; the machine sets it.
  double until = 0;
  /// Firmware result of `result` and `resultRead`.
  std::uint8_t firmwareResult = 0;
  /// How many calls are still to be answered with it; no number means every call.
  std::optional<std::uint32_t> remaining;
  /// `setMode`: fan, mode (0, 1 or 3) and the target in RPM that goes with it.
  int fan = 0;
  std::uint8_t mode = 0;
  std::optional<double> target;
  /// `freeze`: the value's bytes when it froze.
  std::vector<std::uint8_t> frozen;
  /// The command that made it.
  std::string text;
};

/// Whether the fault changes what reads of its key return. A key has at most one such fault: a newer one replaces it.
bool isReadingFault(FaultKind kind);

/// Parses one command of `FaultSet::usage()` other than "clear". Throws `FaultError`.
Fault parseFault(std::string_view command);

/// What is wrong with the simulated machine at the moment. Not safe for concurrent use.
class FaultSet {
 public:
  /// Carries out one command, at once, at the time that the machine has been advanced to; "clear" undoes. Throws
  /// `FaultError` and changes nothing when the command is wrong.
  void apply(std::string_view command);

  /// The commands of the faults in force, in the order given. "set-mode" acts once and is never among them.
  std::vector<std::string> active() const;

  /// The commands, one per line: syntax and meaning.
  static const std::vector<std::string>& usage();

  /// The driver is not there: no service is found, and connections that exist fail.
  bool driverGone() const { return find(FaultKind::driverGone) != nullptr; }

  /// The fault of that kind, and for that key where the kind has one; null when there is none.
  const Fault* find(FaultKind kind, SMCKey key = SMCKey()) const;
  /// What reads of the key return instead of the truth; null when nothing is wrong with them.
  const Fault* readingFault(SMCKey key) const;
  /// The result that the next call must be answered with; counts the call.
  std::optional<std::uint8_t> takeResult(FaultKind kind, SMCKey key);
  /// Removes all faults of a kind.
  void remove(FaultKind kind);

  /// Called for every fault before it takes effect: the machine fills in what a command cannot know.
  void setObserver(std::function<void(Fault&)> observer) { observer_ = std::move(observer); }

 private:
  void clear(const std::vector<std::string_view>& words);

  std::vector<Fault> faults_;
  std::function<void(Fault&)> observer_;
};

}  // namespace halcyra
