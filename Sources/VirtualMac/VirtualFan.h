#pragma once

#include <cstdint>
#include <optional>

namespace halcyra {

/// One fan and the part of the firmware that runs it. Speeds in RPM, times in seconds since power-on.
class VirtualFan {
 public:
  static constexpr std::uint8_t automaticMode = 0;
  static constexpr std::uint8_t manualMode = 1;
  /// The firmware's own name for a fan that it manages together with others; counts as automatic.
  static constexpr std::uint8_t systemMode = 3;

  VirtualFan(int index, double minimum, double maximum);

  /// Which writes have no effect when they are due.
  struct LatchBlock {
    bool mode = false;
    bool target = false;
  };

  /// Lets accepted writes that are due by `now` take effect.
  void settle(double now, LatchBlock block);
  /// Spins for `seconds`. `dieTemperature` is what the firmware's own curve goes by.
  void step(double seconds, double dieTemperature);

  /// Accepted writes; they take effect at `latchTime`. Repeating a pending write does not postpone it.
  void requestMode(std::uint8_t mode, double latchTime);
  void requestTarget(double rpm, double latchTime);
  /// Takes effect at once and drops pending writes.
  void forceMode(std::uint8_t mode, std::optional<double> target);

  int index() const { return index_; }
  double minimum() const { return minimum_; }
  double maximum() const { return maximum_; }
  std::uint8_t mode() const { return mode_; }
  double target() const { return target_; }
  double actual() const { return actual_; }
  /// The mode that the fan has or is about to have.
  std::uint8_t requestedMode() const { return pendingMode_ ? pendingMode_->mode : mode_; }

  /// The firmware's quiet curve.
  double curve(double dieTemperature) const;

 private:
  struct PendingMode {
    std::uint8_t mode;
    double latchTime;
  };
  struct PendingTarget {
    double rpm;
    double latchTime;
  };

  int index_;
  double minimum_;
  double maximum_;
  std::uint8_t mode_ = automaticMode;
  double target_;
  double actual_;
  /// The die temperature as the curve sees it, sluggish on purpose; absent before the first step.
  std::optional<double> heardTemperature_;
  std::optional<PendingMode> pendingMode_;
  std::optional<PendingTarget> pendingTarget_;
};

}  // namespace halcyra
