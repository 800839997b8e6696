#pragma once

#include <string_view>

#include "Platform/Error.h"

namespace halcyra {

/// The application model's own failures.
class ClientFailure : public LocalizedError {
 public:
  enum class Case { abnormalPreflight, resetUnverified, noControllableFans };

  static constexpr std::string_view errorDomain = "Halcyra.ClientFailure";

  explicit ClientFailure(Case failure) : LocalizedError(description(failure)), failure_(failure) {}

  std::string_view domain() const override { return errorDomain; }
  std::int64_t code() const override { return static_cast<std::int64_t>(failure_); }

  /// The value form of one of them.
  static Error error(Case failure) { return ClientFailure(failure).asError(); }

 private:
  static const char* description(Case failure) {
    switch (failure) {
      case Case::abnormalPreflight:
        return "The helper preflight contained an abnormal fan reading";
      case Case::resetUnverified:
        return "Automatic mode could not be verified after the test";
      case Case::noControllableFans:
        return "The helper did not find a fan it can safely control on this Mac";
    }
    return "";
  }

  Case failure_;
};

}  // namespace halcyra
