#pragma once

#include <cstdio>
#include <cstdlib>

namespace halcyra {

/// Stops the program with `message` when a condition that the caller must keep does not hold, in every build, before
/// anything is changed.
constexpr void precondition(bool condition, const char* message) {
  if (condition) {
    return;
  }
  std::fprintf(stderr, "Precondition failed: %s\n", message);
  std::abort();
}

}  // namespace halcyra
