#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "Platform/Time.h"
#include "SMC/FanController.h"
#include "SMC/SMCKey.h"
#include "SMC/SMCValue.h"

namespace halcyra {

/// What the helper knows of each fan's ownership: which fans exist, which of them may be under manual control, and
/// which of them a hand-back still owes to the firmware. Not safe for concurrent use.
class FanLedger {
 public:
  /// How long a mode that was written may take to become effective.
  static constexpr Seconds settlingTime = FanController::verificationTimeout;

  /// The fan exists.
  void found(int fan);
  /// The fan exists, and an earlier process may have written manual mode just before it ended: owed, and to be watched
  /// until that would have become effective. `hasMode`: there is a mode key to command.
  void foundUnattended(int fan, bool hasMode, Instant now);
  /// Nobody will be there to watch: what an earlier process may have written is to be written over now, where there is
  /// a mode key.
  void distrustUnattended();
  /// Manual mode was written (whether or not the write was answered with success). Cancels what was owed.
  void manualWritten(int fan, Instant now);
  /// The mode key read as `raw`.
  void modeRead(int fan, std::uint8_t raw);

  /// A hand-back of the fan has been asked for.
  void owe(int fan);
  /// The mode key reads as the firmware's. What is owed stays owed as long as an earlier manual write, never seen to
  /// take effect, may still do so.
  void confirmAutomatic(int fan, Instant now);

  /// The SMC has no mode key for the fan, which is not known to be manual. A fan that is watched is watched anew: an
  /// earlier process may have left it in manual mode, and the key may come back.
  void modeMissing(int fan, Instant now);

  /// Automatic mode was written over an earlier manual write.
  void countermanded(int fan);

  /// The fan may be under manual control and automatic mode has not been written since: that the mode key reads
  /// automatic proves nothing (a write may still latch, a reading may lie), and the fan must be commanded all the
  /// same.
  bool needsCountermand(int fan) const;
  bool mayBeManual(int fan) const;
  bool knows(int fan) const { return find(fan) != nullptr; }

  /// In ascending order.
  std::vector<int> fans() const;
  std::vector<int> owed() const;
  bool anyMayBeManual() const;
  bool isWatched(int fan) const;
  /// An earlier manual write to some fan, never seen to take effect, may still do so.
  bool anyIsWatched() const;

 private:
  enum class State {
    /// The firmware has it, as far as anybody knows.
    automatic,
    /// An earlier process may have written manual mode, and it may still become effective.
    unattended,
    /// The same, and the fan has no mode key at the moment.
    unattendedWithoutMode,
    /// Manual mode was written and has not been seen to take effect yet.
    manualWritten,
    /// The mode key read as manual, or as nothing that is the firmware's.
    manual,
    /// Automatic mode was written over one that had not been seen to take effect; over one that had.
    overwrittenUnseen,
    overwritten,
  };

  struct Entry {
    State state = State::automatic;
    /// A hand-back owes it to the firmware.
    bool isOwed = false;
    /// When the write was made that may still become effective.
    Instant since{};
  };

  static bool mayBeManual(State state);
  static bool isWatched(State state);

  const Entry* find(int fan) const;

  std::map<int, Entry> entries_;
};

/// The fan whose mode key this is, if it is one.
std::optional<int> fanOfModeKey(SMCKey key);

}  // namespace halcyra
