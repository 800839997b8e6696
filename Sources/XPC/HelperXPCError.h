#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "Platform/Error.h"

/// The helper's error domain.
namespace halcyra::HelperXPCError {

inline constexpr std::string_view domain = "com.norwick.Halcyra.helper";

enum class Code : std::int64_t {
  unauthorizedClient = 0,
  busy = 1,
  invalidSession = 2,
  invalidFan = 3,
  unsupportedHardware = 4,
  abnormalPreflight = 5,
  controlUnavailable = 6,
  internalFailure = 99,
};

std::optional<Code> codeFromRaw(std::int64_t raw);

/// The text that the client shows for a code.
std::string_view readableText(Code code);

/// An error of the domain; without a description the client shows `readableText`.
Error make(Code code);
Error make(Code code, std::string_view description);

/// The error that the client shows: the fixed text where the code has one, the helper's own description where that
/// says more; errors of other domains and unknown codes unchanged.
Error readable(const Error& error);

/// Code 2 of the helper, seen under its domain or one ending in "HelperError".
bool isInvalidSession(const Error& error);

}  // namespace halcyra::HelperXPCError
