#pragma once

#include <array>
#include <string_view>

#include "Platform/UserDefaults.h"

namespace halcyra {

/// Whether this application may control the fans at all.
enum class FanControlOwnership {
  aerovane,
  /// Monitoring only.
  anotherApp,
};

/// In the order in which they are offered.
inline constexpr std::array allFanControlOwnerships{FanControlOwnership::aerovane, FanControlOwnership::anotherApp};

/// The stored form, which is also the identity (`id`).
std::string_view rawValue(FanControlOwnership ownership);
std::string_view id(FanControlOwnership ownership);
/// The texts shown to the user.
std::string_view title(FanControlOwnership ownership);
std::string_view detail(FanControlOwnership ownership);

/// The user's choice in the settings. Without state of its own; safe from any thread.
class FanControlOwnershipStore {
 public:
  static constexpr std::string_view storageKey = "fanControlOwnership.v1";

  explicit FanControlOwnershipStore(UserDefaults& defaults) : defaults_(&defaults) {}

  /// `aerovane` unless the other is stored.
  FanControlOwnership load() const;
  void save(FanControlOwnership ownership);

 private:
  UserDefaults* defaults_;
};

}  // namespace halcyra
