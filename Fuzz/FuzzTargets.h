#pragma once

#include <cstdint>
#include <span>

/// What the fuzzers drive: each function takes any bytes, feeds them to one of the program's mouths, and stops the
/// process by `expect` when an invariant does not hold. Nothing is kept from one input to the next. Fuzz/README.md
/// says for each what its input means.
namespace halcyra::fuzz {

using Bytes = std::span<const std::uint8_t>;

void fuzzControlSocket(Bytes input);
void fuzzDefaultsFile(Bytes input);
void fuzzHelperMessages(Bytes input);
void fuzzHelperStatus(Bytes input);
void fuzzPresets(Bytes input);
void fuzzSMCRecords(Bytes input);
void fuzzSMCReplies(Bytes input);
void fuzzTraces(Bytes input);
#ifdef AEROVANE_HAS_WINDOWS
void fuzzUpdateFeed(Bytes input);
#endif

}  // namespace halcyra::fuzz
