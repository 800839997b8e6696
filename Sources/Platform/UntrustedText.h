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

/// Too deep, or too many values.
class JSONTooLarge : public std::runtime_error {
 public:
  explicit JSONTooLarge(const std::string& what);
};

/// Far deeper than any document of this program. Copying and writing a document take stack for each level.
inline constexpr int deepestJSON = 64;
/// More than there is in a preset file of the largest size. Each takes some hundred bytes.
inline constexpr std::size_t mostJSONValues = 4'000'000;

/// The document, of at most `mostJSONValues` and at most `deepestJSON` levels, in time that grows with the text's
/// length. Throws `JSONTooLarge`, and what `nlohmann::json::parse` throws.
nlohmann::json parseUntrustedJSON(std::string_view text);

}  // namespace halcyra
