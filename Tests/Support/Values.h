#pragma once

#include <functional>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "SMC/SMCError.h"

/// What many tests compare with.
namespace halcyra::test {

inline constexpr double nan = std::numeric_limits<double>::quiet_NaN();
inline constexpr double infinity = std::numeric_limits<double>::infinity();

/// The rows of a test: for (const auto& [input, expected] : Table<int, bool>{{1, true}, …}).
template <typename... Columns>
using Table = std::vector<std::tuple<Columns...>>;

/// Modes of the simulated machine's two fans.
inline const std::vector<int> automatic = {0, 0};
inline const std::vector<int> manual = {1, 1};

/// The text of the SMC error that `work` throws, or "no error".
inline std::string errorOf(const std::function<void()>& work) {
  try {
    work();
  } catch (const SMCError& error) {
    return error.errorDescription();
  }
  return "no error";
}

}  // namespace halcyra::test
