#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace halcyra {

/// A 128-bit identity in its canonical 36-character text form.
class UUID {
 public:
  /// All zero.
  constexpr UUID() = default;

  /// A new random (version 4) identity.
  static UUID random();

  /// Reads the canonical form in either case; anything else gives nothing.
  static std::optional<UUID> parse(std::string_view text);

  /// The canonical form in upper case.
  std::string string() const;

  auto operator<=>(const UUID&) const = default;

 private:
  std::array<std::uint8_t, 16> bytes_{};
};

}  // namespace halcyra
