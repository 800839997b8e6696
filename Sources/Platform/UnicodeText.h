#pragma once

#include <string_view>

namespace halcyra {

/// Whether `text` is well-formed UTF-8.
bool isValidUTF8(std::string_view text);
/// The same without NUL, as message buses and JSON require it.
bool isPortableText(std::string_view text);

/// `text` without the Unicode white space and newlines at both ends. A byte that is not UTF-8 counts as a character
/// that is no white space.
std::string_view trimmed(std::string_view text);

}  // namespace halcyra
