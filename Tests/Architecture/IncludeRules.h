#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace halcyra::test {

/// What the folders under Sources/ may include of each other. `file` and the includes are paths below Sources/.
class IncludeRules {
 public:
  /// Why `file` must not have this include directive; empty when it may. `target` is the text between the delimiters,
  /// `isQuoted` whether they are quotes.
  static std::string objection(std::string_view file, std::string_view target, bool isQuoted);

  /// The objections to all include directives of a file with this content, each with file and line.
  static std::vector<std::string> objections(std::string_view file, std::string_view content);
};

}  // namespace halcyra::test
