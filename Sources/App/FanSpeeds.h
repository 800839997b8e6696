#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "Platform/Precondition.h"

namespace halcyra {

/// The speeds of all fans at one moment, RPM, held in place and in two bytes each: with an allocation per sample twelve
/// hours of history would not fit their bound. A speed outside 0…65535, which no fan has, is limited to it.
class FanSpeeds {
 public:
  /// As many fans as the SMC can name.
  static constexpr std::size_t capacity = 10;

  FanSpeeds() = default;
  // Implicit: it is a vector of speeds in another form. At most `capacity` speeds.
  FanSpeeds(const std::vector<std::int64_t>& speeds) {
    for (const std::int64_t rpm : speeds) push_back(rpm);
  }

  void push_back(std::int64_t rpm) {
    precondition(count_ < capacity, "the SMC names ten fans at most");
    constexpr std::int64_t most = std::numeric_limits<std::uint16_t>::max();
    speeds_[count_++] = static_cast<std::uint16_t>(std::clamp<std::int64_t>(rpm, 0, most));
  }
  std::size_t size() const { return count_; }
  bool empty() const { return count_ == 0; }
  std::int64_t operator[](std::size_t fan) const { return speeds_[fan]; }

  /// Places that are not in use are zero in both.
  friend bool operator==(const FanSpeeds&, const FanSpeeds&) = default;

 private:
  std::array<std::uint16_t, capacity> speeds_{};
  std::uint8_t count_ = 0;
};

}  // namespace halcyra
