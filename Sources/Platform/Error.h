#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

namespace halcyra {

/// Keys of `Error::userInfo`.
inline constexpr std::string_view localizedDescriptionKey = "NSLocalizedDescriptionKey";
inline constexpr std::string_view debugDescriptionKey = "NSDebugDescriptionErrorKey";

/// The domain and the two codes of a broken connection to a service.
inline constexpr std::string_view cocoaErrorDomain = "NSCocoaErrorDomain";
inline constexpr std::int64_t connectionInterruptedCode = 4097;
inline constexpr std::int64_t connectionInvalidCode = 4099;

/// An error as a value: what travels in replies, across threads and across processes.
struct Error {
  std::string domain;
  std::int64_t code = 0;
  std::map<std::string, std::string, std::less<>> userInfo;

  Error() = default;
  Error(std::string_view errorDomain, std::int64_t errorCode) : domain(errorDomain), code(errorCode) {}
  Error(std::string_view errorDomain, std::int64_t errorCode, std::string_view description);

  /// The text under `localizedDescriptionKey`, or a plain sentence naming domain and code when there is none.
  std::string localizedDescription() const;

  bool operator==(const Error&) const = default;
};

/// Base of every typed error that is thrown. `what()` is the exact text that the user sees.
class LocalizedError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;

  /// Names the family of the error in its `Error` form.
  virtual std::string_view domain() const = 0;
  virtual std::int64_t code() const { return 0; }

  std::string errorDescription() const { return what(); }

  /// The value form, for replies.
  Error asError() const { return Error(domain(), code(), what()); }
};

/// The value form of whatever was thrown: a `LocalizedError` as itself, another `std::exception` by its text.
/// To be called in a catch block.
Error currentExceptionAsError();

}  // namespace halcyra
