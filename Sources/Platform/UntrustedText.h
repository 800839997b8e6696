#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "nlohmann/json.hpp"

/// What somebody else wrote, made fit for use.
namespace halcyra {

/// A text for a message: in quotation marks, printable ASCII with a question mark for any other byte, and cut off with
/// "..." when it is long.
std::string quotedText(std::string_view text);

/// A text for a terminal or a log: control characters, which could end the line or command the terminal, are blanks.
std::string onOneLine(std::string_view text);

class JSONTooDeep : public std::runtime_error {
 public:
  JSONTooDeep();
};

/// Far deeper than any document of this program. Copying and writing a document take stack for each level.
inline constexpr int deepestJSON = 64;

/// The document, nested at most `deepestJSON` levels deep. Throws `JSONTooDeep`, and what `nlohmann::json::parse`
/// throws.
nlohmann::json parseUntrustedJSON(std::string_view text);

}  // namespace halcyra
