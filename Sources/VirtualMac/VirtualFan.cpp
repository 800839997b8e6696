#include "VirtualMac/VirtualFan.h"

#include <algorithm>

namespace halcyra {

namespace {

/// The firmware's curve: °C and the share of the way from minimum to maximum speed. It prefers quiet to cool, and goes
/// all the way only when the chip is about to slow itself down.
struct CurvePoint {
  double temperature;
  double share;
};
constexpr CurvePoint quietCurve[] = {{58.0, 0.0},   {75.0, 0.12},  {90.0, 0.34},
                                     {100.0, 0.48}, {109.0, 0.56}, {114.0, 1.0}};

constexpr double hearingSeconds = 8.0;
constexpr double inertiaSeconds = 1.1;
/// RPM per second.
constexpr double slewLimit = 900.0;

}  // namespace

VirtualFan::VirtualFan(int index, double minimum, double maximum)
    : index_(index), minimum_(minimum), maximum_(maximum), target_(minimum), actual_(minimum) {}

double VirtualFan::curve(double dieTemperature) const {
  const CurvePoint* below = quietCurve;
  if (dieTemperature <= below->temperature) {
    return minimum_;
  }
  for (const CurvePoint& point : quietCurve) {
    if (dieTemperature < point.temperature) {
      const double way = (dieTemperature - below->temperature) / (point.temperature - below->temperature);
      return minimum_ + (maximum_ - minimum_) * (below->share + way * (point.share - below->share));
    }
    below = &point;
  }
  return maximum_;
}

void VirtualFan::settle(double now, LatchBlock block) {
  if (pendingMode_ && pendingMode_->latchTime <= now) {
    if (!block.mode) {
      mode_ = pendingMode_->mode;
    }
    pendingMode_.reset();
  }
  if (pendingTarget_ && pendingTarget_->latchTime <= now) {
    // In automatic mode the firmware writes the target key itself, and whatever came in is lost.
    if (!block.target && mode_ == manualMode) {
      target_ = pendingTarget_->rpm;
    }
    pendingTarget_.reset();
  }
}

void VirtualFan::step(double seconds, double dieTemperature) {
  const double heard = heardTemperature_.value_or(dieTemperature);
  heardTemperature_ = heard + (dieTemperature - heard) * seconds / hearingSeconds;
  if (mode_ != manualMode) {
    target_ = curve(*heardTemperature_);
  }
  const double change = (target_ - actual_) * seconds / inertiaSeconds;
  actual_ += std::clamp(change, -slewLimit * seconds, slewLimit * seconds);
}

void VirtualFan::requestMode(std::uint8_t mode, double latchTime) {
  if (mode == mode_) {
    pendingMode_.reset();
  } else if (!pendingMode_ || pendingMode_->mode != mode) {
    pendingMode_ = PendingMode{mode, latchTime};
  }
}

void VirtualFan::requestTarget(double rpm, double latchTime) {
  const double limited = std::clamp(rpm, minimum_, maximum_);
  if (!pendingTarget_ || pendingTarget_->rpm != limited) {
    pendingTarget_ = PendingTarget{limited, latchTime};
  }
}

void VirtualFan::forceMode(std::uint8_t mode, std::optional<double> target) {
  mode_ = mode;
  pendingMode_.reset();
  pendingTarget_.reset();
  if (target) {
    target_ = std::clamp(*target, minimum_, maximum_);
  }
}

}  // namespace halcyra
