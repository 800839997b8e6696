#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "VirtualMac/Fault.h"

namespace halcyra {

/// One word that a fault command may begin with.
struct FaultCommand {
  FaultKind kind;
  std::string_view name;
  std::string_view syntax;
  std::string_view meaning;
  std::size_t leastArguments;
  std::size_t mostArguments;
};

/// All of them, one per kind.
const std::vector<FaultCommand>& faultCommands();
/// Null for an unknown name; "mode" is short for "set-mode".
const FaultCommand* findFaultCommand(std::string_view name);

/// The words of a command, without the white space between them.
std::vector<std::string_view> wordsOf(std::string_view text);

}  // namespace halcyra
