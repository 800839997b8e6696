#include <string_view>

#include "gtest/gtest.h"

#include "Platform/UnicodeText.h"

namespace halcyra {

TEST(UnicodeText, TellsWellFormedUTF8) {
  for (const std::string_view text : {"", "a", "é°–", "\U0001F600", "\xF4\x8F\xBF\xBF", "\xEF\xBF\xBF"}) {
    EXPECT_TRUE(isValidUTF8(text)) << text;
    EXPECT_TRUE(isPortableText(text)) << text;
  }
  // A lone continuation, cut sequences, overlong forms, a surrogate, beyond the last character, and no lead bytes.
  for (const std::string_view text :
       {"\x80", "a\xC3", "\xE2\x82", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80",
        "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xC3(", "\xE2(\xA1"}) {
    EXPECT_FALSE(isValidUTF8(text)) << text;
    EXPECT_FALSE(isPortableText(text)) << text;
  }
}

TEST(UnicodeText, TrimsWhiteSpaceOfEveryKindAtBothEnds) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"", ""},
      {" \t\r\n\v\f", ""},
      {"\u00A0\u1680\u2003\u2028\u2029\u202F\u205F\u3000\u0085", ""},
      {" a b \n", "a b"},
      {"\u2003é\u3000x\u00A0", "é\u3000x"},
      {"é", "é"},
      {" \xFF ", "\xFF"},
      {"\u200B", "\u200B"},
  };
  for (const auto& [text, expected] : cases) {
    EXPECT_EQ(trimmed(text), expected) << text;
  }
}

}  // namespace halcyra
