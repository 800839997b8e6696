#pragma once

#include <optional>

#include "SMC/SMCError.h"

namespace halcyra {

/// What `read` returns, or absent for every failure of the SMC. Where there is no answer (a driver that fails, firmware
/// that is busy) it is asked once more: one call that goes wrong must not hide a key that is there. `isAnswered` is set
/// to false when that fails, too. Exceptions other than `SMCError` go through: they must not pass for a missing key.
template <typename Read>
auto askTwice(bool& isAnswered, Read read) -> std::optional<decltype(read())> {
  for (bool isRepeated = false;; isRepeated = true) {
    try {
      return read();
    } catch (const SMCError& error) {
      if (error.isAnswer()) {
        return std::nullopt;
      }
      if (isRepeated) {
        isAnswered = false;
        return std::nullopt;
      }
    }
  }
}

}  // namespace halcyra
