#include "Support/Expect.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "Platform/UnicodeText.h"

namespace halcyra::fuzz {

void expect(bool holds, std::string_view invariant) {
  if (!holds) {
    std::cerr << "\nviolated: " << invariant << std::endl;
    std::abort();
  }
}

void expectReadable(const std::string& message) {
  constexpr std::size_t longest = 400;
  const bool isPrintable =
      std::none_of(message.begin(), message.end(), [](char byte) { return (byte >= 0 && byte < ' ') || byte == 0x7F; });
  if (message.empty() || message.size() > longest || !isPrintable || !isValidUTF8(message)) {
    std::cerr << "\nthe message (" << message.size() << " bytes): " << message.substr(0, longest) << std::endl;
    expect(false, "a message is one short line of text");
  }
}

}  // namespace halcyra::fuzz
