#pragma once

#include <string>
#include <string_view>

namespace halcyra::fuzz {

/// Stops the process with `invariant` when it does not hold: no handler on the way up may swallow a finding.
void expect(bool holds, std::string_view invariant);

/// What a message for people must be, whatever the input: not empty, printable on one line, UTF-8, and short enough
/// for an alert.
void expectReadable(const std::string& message);

}  // namespace halcyra::fuzz
