#pragma once

#include <cstdint>

namespace halcyra {

/// The fan of the supervised first-write test, as the helper reports it. Speeds in RPM.
struct SupervisedFan {
  int index = 0;
  std::int64_t actual = 0;
  std::int64_t target = 0;
  std::int64_t minimum = 0;
  std::int64_t maximum = 0;

  bool operator==(const SupervisedFan&) const = default;
};

}  // namespace halcyra
